#include "radio/Transfer.h"

#include <cerrno>
#include <cstring>

#include "radio/Next.h"
#include "radio/SocketState.h"

namespace radio {
namespace {

// A received descriptor may be a radio socket under a number cached as something else.
void forgetReceived(msghdr* message) {
  if (message->msg_control == nullptr) return;
  for (cmsghdr* part = CMSG_FIRSTHDR(message); part != nullptr; part = CMSG_NXTHDR(message, part)) {
    if (part->cmsg_level != SOL_SOCKET || part->cmsg_type != SCM_RIGHTS) continue;
    const size_t count = (part->cmsg_len - CMSG_LEN(0)) / sizeof(int);
    for (size_t i = 0; i < count; ++i) {
      int fd = -1;
      std::memcpy(&fd, CMSG_DATA(part) + i * sizeof fd, sizeof fd);
      forget(fd);
    }
  }
}

// The result for a call that sent on a radio socket.
template <typename Result>
Result afterSending(int fd, Result sent) {
  SocketState state;
  if (sent >= 0 || errno != EPIPE || !readState(fd, &state)) return sent;
  if (state.state != State::kShutDown) errno = ECONNRESET;
  return sent;
}

bool rejectsOutOfBand(int flags) {
  if ((flags & MSG_OOB) == 0) return false;
  errno = EOPNOTSUPP;
  return true;
}

}  // namespace

ssize_t afterReceiving(int fd, ssize_t got, bool wanted) {
  if (got > 0 || (got == 0 && !wanted)) return got;
  if (got < 0 && errno != EINVAL) return got;
  SocketState state;
  if (!isRadio(fd, &state)) return got;
  if (got < 0) {
    if (!isLinked(state)) errno = ENOTCONN;
    return got;
  }
  if (state.state == State::kShutDown) return 0;
  errno = ECONNRESET;
  return -1;
}

ssize_t receiveFrom(int fd, void* buffer, size_t size, int flags, sockaddr* address,
                    socklen_t* length) {
  SocketState state;
  if (address == nullptr || length == nullptr || !isRadio(fd, &state)) {
    return afterReceiving(fd, next::recvfrom(fd, buffer, size, flags, address, length), size > 0);
  }
  const ssize_t got = afterReceiving(fd, next::recv(fd, buffer, size, flags), size > 0);
  if (got >= 0) *length = 0;  // as in the kernel: no sender address
  return got;
}

ssize_t receiveMessage(int fd, msghdr* message, int flags) {
  SocketState state;
  const bool named = message != nullptr && message->msg_name != nullptr && isRadio(fd, &state);
  void* const name = named ? message->msg_name : nullptr;
  if (named) {
    message->msg_name = nullptr;
    message->msg_namelen = 0;
  }
  const ssize_t got = next::recvmsg(fd, message, flags);
  if (named) message->msg_name = name;
  if (got >= 0) forgetReceived(message);
  if (got > 0 || message == nullptr) return got;
  return afterReceiving(fd, got, hasRoom(message->msg_iov, message->msg_iovlen));
}

int receiveMessages(int fd, mmsghdr* messages, unsigned count, int flags, timespec* timeout) {
  const int got = next::recvmmsg(fd, messages, count, flags, timeout);
  for (int i = 0; i < got; ++i) forgetReceived(&messages[i].msg_hdr);
  if (got <= 0) return static_cast<int>(afterReceiving(fd, got, false));
  int whole = 0;
  while (whole < got && messages[whole].msg_len > 0) ++whole;
  SocketState state;
  if (whole == got || !isRadio(fd, &state)) return got;
  return whole > 0 ? whole : static_cast<int>(afterReceiving(fd, 0, true));
}

bool hasRoom(const iovec* parts, size_t count) {
  if (parts == nullptr) return false;
  for (size_t i = 0; i < count; ++i) {
    if (parts[i].iov_len > 0) return true;
  }
  return false;
}

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
  if (rejectsOutOfBand(flags)) return -1;
  return afterSending(fd, next::send(fd, data, size, flags | MSG_NOSIGNAL));
}

// RFCOMM ignores the address.
ssize_t sendDataTo(int fd, const void* data, size_t size, int flags, const sockaddr* address,
                   socklen_t length) {
  SocketState state;
  if (!isRadio(fd, &state)) return next::sendto(fd, data, size, flags, address, length);
  return sendData(fd, data, size, flags);
}

ssize_t sendMessage(int fd, const msghdr* message, int flags) {
  SocketState state;
  if (message == nullptr || !isRadio(fd, &state)) return next::sendmsg(fd, message, flags);
  if (rejectsOutOfBand(flags)) return -1;
  msghdr unnamed = *message;
  unnamed.msg_name = nullptr;
  unnamed.msg_namelen = 0;
  return afterSending(fd, next::sendmsg(fd, &unnamed, flags | MSG_NOSIGNAL));
}

int sendMessages(int fd, mmsghdr* messages, unsigned count, int flags) {
  SocketState state;
  if (!isRadio(fd, &state)) return next::sendmmsg(fd, messages, count, flags);
  if (rejectsOutOfBand(flags)) return -1;
  return afterSending(fd, next::sendmmsg(fd, messages, count, flags | MSG_NOSIGNAL));
}

}  // namespace radio
