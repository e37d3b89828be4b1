#include <cerrno>

#include "radio/Descriptors.h"
#include "radio/Next.h"
#include "radio/Transfer.h"

namespace radio {
namespace {

// What a call that sent on a radio socket must answer.
template <typename Result>
Result afterSending(int fd, Result sent) {
  SocketState state;
  if (sent >= 0 || errno != EPIPE || !readState(fd, &state)) return sent;
  if (state.state != State::kShutDown) errno = ECONNRESET;
  return sent;
}

bool isUrgent(int flags) {
  if ((flags & MSG_OOB) == 0) return false;
  errno = EOPNOTSUPP;
  return true;
}

}  // namespace

ssize_t writeData(int fd, const void* data, size_t size) {
  SocketState state;
  if (!isRadio(fd, &state)) return next::write(fd, data, size);
  return afterSending(fd, next::send(fd, data, size, MSG_NOSIGNAL));
}

ssize_t writeVector(int fd, const iovec* parts, int count) {
  SocketState state;
  if (count < 0 || !isRadio(fd, &state)) return next::writev(fd, parts, count);
  msghdr message = {};
  message.msg_iov = const_cast<iovec*>(parts);
  message.msg_iovlen = static_cast<size_t>(count);
  return afterSending(fd, next::sendmsg(fd, &message, MSG_NOSIGNAL));
}

ssize_t sendData(int fd, const void* data, size_t size, int flags) {
  SocketState state;
  if (!isRadio(fd, &state)) return next::send(fd, data, size, flags);
  if (isUrgent(flags)) return -1;
  return afterSending(fd, next::send(fd, data, size, flags | MSG_NOSIGNAL));
}

// RFCOMM pays no attention to an address given with the data.
ssize_t sendDataTo(int fd, const void* data, size_t size, int flags, const sockaddr* address,
                   socklen_t length) {
  SocketState state;
  if (!isRadio(fd, &state)) return next::sendto(fd, data, size, flags, address, length);
  return sendData(fd, data, size, flags);
}

ssize_t sendMessage(int fd, const msghdr* message, int flags) {
  SocketState state;
  if (message == nullptr || !isRadio(fd, &state)) return next::sendmsg(fd, message, flags);
  if (isUrgent(flags)) return -1;
  msghdr unnamed = *message;
  unnamed.msg_name = nullptr;
  unnamed.msg_namelen = 0;
  return afterSending(fd, next::sendmsg(fd, &unnamed, flags | MSG_NOSIGNAL));
}

int sendMessages(int fd, mmsghdr* messages, unsigned count, int flags) {
  SocketState state;
  if (!isRadio(fd, &state)) return next::sendmmsg(fd, messages, count, flags);
  if (isUrgent(flags)) return -1;
  return afterSending(fd, next::sendmmsg(fd, messages, count, flags | MSG_NOSIGNAL));
}

}  // namespace radio
