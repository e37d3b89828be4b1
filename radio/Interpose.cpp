// The interposed functions of the C library. Each has the signature and errno of the original and
// passes on calls for anything but a radio socket.
#include <sys/socket.h>
#include <sys/uio.h>

#include <cerrno>
#include <cstdarg>

#include "radio/Folder.h"
#include "radio/Next.h"
#include "radio/Options.h"
#include "radio/Rfcomm.h"
#include "radio/SocketState.h"
#include "radio/Transfer.h"

#define RADIO_EXPORT extern "C" __attribute__((visibility("default")))

namespace radio {
namespace {

// Removes a listener's file when its last descriptor is closed. Constructed before the close,
// finished after it. Never blocks, async-signal-safe, leaves errno unchanged.
class ListenerCleanup {
 public:
  explicit ListenerCleanup(int fd);
  void finish() const;

 private:
  Endpoint m_endpoint;
  bool m_listener = false;
};

ListenerCleanup::ListenerCleanup(int fd) {
  SocketState state;
  if (!isRadio(fd, &state)) return;
  if (state.state != State::kListening && state.state != State::kBound) return;
  Name name;
  m_listener = localNameOf(fd, &name) == 0 && parseName(name, &m_endpoint);
}

// If a duplicate is still open, here or in a child, the folder finds the socket alive.
void ListenerCleanup::finish() const {
  if (!m_listener) return;
  Folder folder;
  if (folder.error() == 0) folder.removeDead(m_endpoint);
}

// Turns a negative errno into -1 and errno.
int answer(int result) {
  if (result >= 0) return result;
  errno = -result;
  return -1;
}

// `fd` now refers to something else, perhaps to a radio socket.
int forgetNew(int fd) {
  forget(fd);
  return fd;
}

template <typename Next>
int passFcntl(Next& next, int fd, int command, void* argument) {
  const int result = next(fd, command, argument);
  return command == F_DUPFD || command == F_DUPFD_CLOEXEC ? forgetNew(result) : result;
}

template <typename Replace>
int replaceDescriptor(int source, int target, Replace replace) {
  if (source == target) return replace();
  const ListenerCleanup cleanup(target);
  const int result = replace();
  if (result < 0) return result;
  forget(target);
  cleanup.finish();
  return result;
}

[[gnu::constructor]] void onLoad() { next::findAll(); }

}  // namespace
}  // namespace radio

using radio::afterReceiving;
using radio::answer;
using radio::isRadio;
using radio::SocketState;
namespace next = radio::next;

// Setting up a link.

RADIO_EXPORT int socket(int domain, int type, int protocol) noexcept {
  if (radio::isRadioSocket(domain, type, protocol)) return answer(radio::openSocket(type));
  return next::socket(domain, type, protocol);
}

RADIO_EXPORT int bind(int fd, const sockaddr* address, socklen_t length) noexcept {
  SocketState state;
  if (isRadio(fd, &state)) return answer(radio::bindSocket(fd, state, address, length));
  return next::bind(fd, address, length);
}

RADIO_EXPORT int listen(int fd, int backlog) noexcept {
  SocketState state;
  if (isRadio(fd, &state)) return answer(radio::listenOn(fd, state, backlog));
  return next::listen(fd, backlog);
}

RADIO_EXPORT int accept(int fd, sockaddr* address, socklen_t* length) {
  SocketState state;
  if (isRadio(fd, &state)) return answer(radio::acceptLink(fd, state, address, length, 0));
  return next::accept(fd, address, length);
}

RADIO_EXPORT int accept4(int fd, sockaddr* address, socklen_t* length, int flags) {
  SocketState state;
  if (isRadio(fd, &state)) return answer(radio::acceptLink(fd, state, address, length, flags));
  return next::accept4(fd, address, length, flags);
}

RADIO_EXPORT int connect(int fd, const sockaddr* address, socklen_t length) {
  SocketState state;
  if (isRadio(fd, &state)) return answer(radio::connectTo(fd, state, address, length));
  return next::connect(fd, address, length);
}

RADIO_EXPORT int shutdown(int fd, int how) noexcept {
  SocketState state;
  if (isRadio(fd, &state)) return answer(radio::shutDownLink(fd, state));
  return next::shutdown(fd, how);
}

// Names and options.

RADIO_EXPORT int getsockname(int fd, sockaddr* address, socklen_t* length) noexcept {
  SocketState state;
  if (isRadio(fd, &state)) return answer(radio::localName(fd, state, address, length));
  return next::getsockname(fd, address, length);
}

RADIO_EXPORT int getpeername(int fd, sockaddr* address, socklen_t* length) noexcept {
  SocketState state;
  if (isRadio(fd, &state)) return answer(radio::peerName(fd, state, address, length));
  return next::getpeername(fd, address, length);
}

RADIO_EXPORT int getsockopt(int fd, int level, int name, void* value, socklen_t* length) noexcept {
  SocketState state;
  if (isRadio(fd, &state)) return answer(radio::getOption(fd, state, level, name, value, length));
  return next::getsockopt(fd, level, name, value, length);
}

RADIO_EXPORT int setsockopt(int fd, int level, int name, const void* value,
                            socklen_t length) noexcept {
  SocketState state;
  if (isRadio(fd, &state)) return answer(radio::setOption(fd, state, level, name, value, length));
  return next::setsockopt(fd, level, name, value, length);
}

// Receiving.

RADIO_EXPORT ssize_t read(int fd, void* buffer, size_t size) {
  return afterReceiving(fd, next::read(fd, buffer, size), size > 0);
}

RADIO_EXPORT ssize_t readv(int fd, const iovec* parts, int count) {
  const ssize_t got = next::readv(fd, parts, count);
  if (got > 0) return got;
  return afterReceiving(fd, got, count > 0 && radio::hasRoom(parts, static_cast<size_t>(count)));
}

RADIO_EXPORT ssize_t recv(int fd, void* buffer, size_t size, int flags) {
  return afterReceiving(fd, next::recv(fd, buffer, size, flags), size > 0);
}

RADIO_EXPORT ssize_t recvfrom(int fd, void* buffer, size_t size, int flags, sockaddr* address,
                              socklen_t* length) {
  return radio::receiveFrom(fd, buffer, size, flags, address, length);
}

RADIO_EXPORT ssize_t recvmsg(int fd, msghdr* message, int flags) {
  return radio::receiveMessage(fd, message, flags);
}

RADIO_EXPORT int recvmmsg(int fd, mmsghdr* messages, unsigned count, int flags, timespec* timeout) {
  return radio::receiveMessages(fd, messages, count, flags, timeout);
}

RADIO_EXPORT ssize_t __read_chk(int fd, void* buffer, size_t length, size_t size) {
  return afterReceiving(fd, next::__read_chk(fd, buffer, length, size), length > 0);
}

RADIO_EXPORT ssize_t __recv_chk(int fd, void* buffer, size_t length, size_t size, int flags) {
  return afterReceiving(fd, next::__recv_chk(fd, buffer, length, size, flags), length > 0);
}

RADIO_EXPORT ssize_t __recvfrom_chk(int fd, void* buffer, size_t length, size_t size, int flags,
                                    sockaddr* address, socklen_t* addressLength) {
  if (length > size) {
    return next::__recvfrom_chk(fd, buffer, length, size, flags, address, addressLength);
  }
  return radio::receiveFrom(fd, buffer, length, flags, address, addressLength);
}

// Sending.

RADIO_EXPORT ssize_t write(int fd, const void* data, size_t size) {
  return radio::writeData(fd, data, size);
}

RADIO_EXPORT ssize_t writev(int fd, const iovec* parts, int count) {
  return radio::writeVector(fd, parts, count);
}

RADIO_EXPORT ssize_t send(int fd, const void* data, size_t size, int flags) {
  return radio::sendData(fd, data, size, flags);
}

RADIO_EXPORT ssize_t sendto(int fd, const void* data, size_t size, int flags,
                            const sockaddr* address, socklen_t length) {
  return radio::sendDataTo(fd, data, size, flags, address, length);
}

RADIO_EXPORT ssize_t sendmsg(int fd, const msghdr* message, int flags) {
  return radio::sendMessage(fd, message, flags);
}

RADIO_EXPORT int sendmmsg(int fd, mmsghdr* messages, unsigned count, int flags) {
  return radio::sendMessages(fd, messages, count, flags);
}

// Descriptors.

RADIO_EXPORT int close(int fd) {
  const radio::ListenerCleanup cleanup(fd);
  radio::forget(fd);
  const int result = next::close(fd);
  cleanup.finish();
  return result;
}

RADIO_EXPORT int dup(int fd) noexcept { return radio::forgetNew(next::dup(fd)); }

RADIO_EXPORT int dup2(int fd, int target) noexcept {
  return radio::replaceDescriptor(fd, target, [&] { return next::dup2(fd, target); });
}

RADIO_EXPORT int dup3(int fd, int target, int flags) noexcept {
  return radio::replaceDescriptor(fd, target, [&] { return next::dup3(fd, target, flags); });
}

// The argument is an int or a pointer; the C library reads it as a pointer, too.
RADIO_EXPORT int fcntl(int fd, int command, ...) {
  va_list arguments;
  va_start(arguments, command);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);
  return radio::passFcntl(next::fcntl, fd, command, argument);
}

RADIO_EXPORT int fcntl64(int fd, int command, ...) {
  va_list arguments;
  va_start(arguments, command);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);
  return radio::passFcntl(next::fcntl64, fd, command, argument);
}
