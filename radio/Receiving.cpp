#include <cerrno>
#include <cstring>

#include "radio/Descriptors.h"
#include "radio/Next.h"
#include "radio/Transfer.h"

namespace radio {
namespace {

// Descriptors that came in a message may be radio sockets, whatever their numbers were before.
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
  if (got >= 0) *length = 0;  // a stream of RFCOMM names no sender
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

}  // namespace radio
