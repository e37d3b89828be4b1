// The C library's functions that the radio stands in front of: the table of what goes where. Each
// has the name, the arguments and the errno of the one it stands for, and passes on whatever is not
// a radio socket's.
#include <sys/socket.h>
#include <sys/uio.h>

#include <cerrno>
#include <cstdarg>

#include "radio/descriptors.h"
#include "radio/next.h"
#include "radio/options.h"
#include "radio/rfcomm.h"
#include "radio/tidying.h"
#include "radio/transfer.h"

#define RADIO_EXPORT extern "C" __attribute__((visibility("default")))

namespace radio {
namespace {

int Answer(int result) {
  if (result >= 0) return result;
  errno = -result;
  return -1;
}

// The number was given to something else, which may be a radio socket.
int NewNumber(int fd) {
  Forget(fd);
  return fd;
}

template <typename Next>
int Fcntl(Next& next, int fd, int command, void* argument) {
  const int result = next(fd, command, argument);
  return command == F_DUPFD || command == F_DUPFD_CLOEXEC ? NewNumber(result) : result;
}

template <typename Replace>
int ReplaceNumber(int old_number, int number, Replace replace) {
  if (old_number == number) return replace();
  const Tidying tidying(number);
  const int result = replace();
  if (result < 0) return result;
  Forget(number);
  tidying.Finish();
  return result;
}

}  // namespace
}  // namespace radio

using radio::Answer;
using radio::IsRadio;
using radio::Mark;
using radio::Received;
namespace next = radio::next;

// Setting up.

RADIO_EXPORT int socket(int domain, int type, int protocol) noexcept {
  if (radio::IsRadioSocket(domain, type, protocol)) return Answer(radio::Open(type));
  return next::socket(domain, type, protocol);
}

RADIO_EXPORT int bind(int fd, const sockaddr* address, socklen_t length) noexcept {
  Mark mark;
  if (IsRadio(fd, &mark)) return Answer(radio::Bind(fd, mark, address, length));
  return next::bind(fd, address, length);
}

RADIO_EXPORT int listen(int fd, int backlog) noexcept {
  Mark mark;
  if (IsRadio(fd, &mark)) return Answer(radio::Listen(fd, mark, backlog));
  return next::listen(fd, backlog);
}

RADIO_EXPORT int accept(int fd, sockaddr* address, socklen_t* length) {
  Mark mark;
  if (IsRadio(fd, &mark)) return Answer(radio::Accept(fd, mark, address, length, 0));
  return next::accept(fd, address, length);
}

RADIO_EXPORT int accept4(int fd, sockaddr* address, socklen_t* length, int flags) {
  Mark mark;
  if (IsRadio(fd, &mark)) return Answer(radio::Accept(fd, mark, address, length, flags));
  return next::accept4(fd, address, length, flags);
}

RADIO_EXPORT int connect(int fd, const sockaddr* address, socklen_t length) {
  Mark mark;
  if (IsRadio(fd, &mark)) return Answer(radio::Connect(fd, mark, address, length));
  return next::connect(fd, address, length);
}

RADIO_EXPORT int shutdown(int fd, int how) noexcept {
  Mark mark;
  if (IsRadio(fd, &mark)) return Answer(radio::Shutdown(fd, mark));
  return next::shutdown(fd, how);
}

// Names and options.

RADIO_EXPORT int getsockname(int fd, sockaddr* address, socklen_t* length) noexcept {
  Mark mark;
  if (IsRadio(fd, &mark)) return Answer(radio::LocalName(fd, mark, address, length));
  return next::getsockname(fd, address, length);
}

RADIO_EXPORT int getpeername(int fd, sockaddr* address, socklen_t* length) noexcept {
  Mark mark;
  if (IsRadio(fd, &mark)) return Answer(radio::PeerName(fd, mark, address, length));
  return next::getpeername(fd, address, length);
}

RADIO_EXPORT int getsockopt(int fd, int level, int name, void* value, socklen_t* length) noexcept {
  Mark mark;
  if (IsRadio(fd, &mark)) return Answer(radio::GetOption(fd, mark, level, name, value, length));
  return next::getsockopt(fd, level, name, value, length);
}

RADIO_EXPORT int setsockopt(int fd, int level, int name, const void* value,
                            socklen_t length) noexcept {
  Mark mark;
  if (IsRadio(fd, &mark)) return Answer(radio::SetOption(fd, mark, level, name, value, length));
  return next::setsockopt(fd, level, name, value, length);
}

// Receiving.

RADIO_EXPORT ssize_t read(int fd, void* buffer, size_t size) {
  return Received(fd, next::read(fd, buffer, size), size > 0);
}

RADIO_EXPORT ssize_t readv(int fd, const iovec* parts, int count) {
  const ssize_t got = next::readv(fd, parts, count);
  if (got > 0) return got;
  return Received(fd, got, count > 0 && radio::HasRoom(parts, static_cast<size_t>(count)));
}

RADIO_EXPORT ssize_t recv(int fd, void* buffer, size_t size, int flags) {
  return Received(fd, next::recv(fd, buffer, size, flags), size > 0);
}

RADIO_EXPORT ssize_t recvfrom(int fd, void* buffer, size_t size, int flags, sockaddr* address,
                              socklen_t* length) {
  return radio::ReceiveFrom(fd, buffer, size, flags, address, length);
}

RADIO_EXPORT ssize_t recvmsg(int fd, msghdr* message, int flags) {
  return radio::ReceiveMessage(fd, message, flags);
}

RADIO_EXPORT int recvmmsg(int fd, mmsghdr* messages, unsigned count, int flags, timespec* timeout) {
  return radio::ReceiveMessages(fd, messages, count, flags, timeout);
}

RADIO_EXPORT ssize_t __read_chk(int fd, void* buffer, size_t length, size_t size) {
  return Received(fd, next::__read_chk(fd, buffer, length, size), length > 0);
}

RADIO_EXPORT ssize_t __recv_chk(int fd, void* buffer, size_t length, size_t size, int flags) {
  return Received(fd, next::__recv_chk(fd, buffer, length, size, flags), length > 0);
}

RADIO_EXPORT ssize_t __recvfrom_chk(int fd, void* buffer, size_t length, size_t size, int flags,
                                    sockaddr* address, socklen_t* address_length) {
  if (length > size) {
    return next::__recvfrom_chk(fd, buffer, length, size, flags, address, address_length);
  }
  return radio::ReceiveFrom(fd, buffer, length, flags, address, address_length);
}

// Sending.

RADIO_EXPORT ssize_t write(int fd, const void* data, size_t size) {
  return radio::Write(fd, data, size);
}

RADIO_EXPORT ssize_t writev(int fd, const iovec* parts, int count) {
  return radio::WriteVector(fd, parts, count);
}

RADIO_EXPORT ssize_t send(int fd, const void* data, size_t size, int flags) {
  return radio::Send(fd, data, size, flags);
}

RADIO_EXPORT ssize_t sendto(int fd, const void* data, size_t size, int flags,
                            const sockaddr* address, socklen_t length) {
  return radio::SendTo(fd, data, size, flags, address, length);
}

RADIO_EXPORT ssize_t sendmsg(int fd, const msghdr* message, int flags) {
  return radio::SendMessage(fd, message, flags);
}

RADIO_EXPORT int sendmmsg(int fd, mmsghdr* messages, unsigned count, int flags) {
  return radio::SendMessages(fd, messages, count, flags);
}

// Descriptors.

RADIO_EXPORT int close(int fd) {
  const radio::Tidying tidying(fd);
  radio::Forget(fd);
  const int result = next::close(fd);
  tidying.Finish();
  return result;
}

RADIO_EXPORT int dup(int fd) noexcept { return radio::NewNumber(next::dup(fd)); }

RADIO_EXPORT int dup2(int fd, int number) noexcept {
  return radio::ReplaceNumber(fd, number, [&] { return next::dup2(fd, number); });
}

RADIO_EXPORT int dup3(int fd, int number, int flags) noexcept {
  return radio::ReplaceNumber(fd, number, [&] { return next::dup3(fd, number, flags); });
}

// The argument is a number or a pointer; the C library reads it as a pointer as well.
RADIO_EXPORT int fcntl(int fd, int command, ...) {
  va_list arguments;
  va_start(arguments, command);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);
  return radio::Fcntl(next::fcntl, fd, command, argument);
}

RADIO_EXPORT int fcntl64(int fd, int command, ...) {
  va_list arguments;
  va_start(arguments, command);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);
  return radio::Fcntl(next::fcntl64, fd, command, argument);
}
