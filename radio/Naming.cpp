// getsockname() and getpeername(). Both ends of a link have one channel, the listener's.
#include <bluetooth/bluetooth.h>
#include <poll.h>

#include <cerrno>

#include "radio/Kernel.h"
#include "radio/RcAddress.h"
#include "radio/Rfcomm.h"
#include "radio/Settings.h"

namespace radio {
namespace {

bool isHungUp(int fd) {
  const kernel::KeepErrno keep;
  pollfd wait = {fd, 0, 0};
  return poll(&wait, 1, 0) == 1 && (wait.revents & POLLHUP) != 0;
}

int readLink(int fd, const Mark& mark, Place* local, Place* peer) {
  Name name;
  const int localNamed = localNameOf(fd, &name);
  if (localNamed != 0) return localNamed;
  if (!readPlace(name, local)) return -ENOTCONN;
  const int peerNamed = peerNameOf(fd, &name);
  if (peerNamed != 0) return peerNamed;
  if (!readPlace(name, peer)) return -ENOTCONN;
  // A connecting socket may have been bound to a channel of its own, which means nothing now.
  if (mark.state == State::kConnected || local->channel == 0) {
    local->channel = peer->channel;
  } else {
    peer->channel = local->channel;
  }
  return 0;
}

}  // namespace

int localName(int fd, const Mark& mark, sockaddr* address, socklen_t* length) {
  Place local;
  Place peer;
  Name name;
  const bool linked = isLinked(mark) || mark.state == State::kShutDown;
  if (linked && readLink(fd, mark, &local, &peer) == 0) {
    return writeAddress(local, address, length);
  }
  const bool bound = mark.state != State::kOpen;
  if (localNameOf(fd, &name) != 0 || !readPlace(name, &local)) {
    local = Place{};
    if (bound) static_cast<void>(readOwnAddress(&local.address));
  }
  if (mark.anyAddress) local.address = bdaddr_t{};
  return writeAddress(local, address, length);
}

int peerName(int fd, const Mark& mark, sockaddr* address, socklen_t* length) {
  if (!isLinked(mark) || isHungUp(fd)) return -ENOTCONN;
  Place local;
  Place peer;
  const int read = readLink(fd, mark, &local, &peer);
  return read != 0 ? read : writeAddress(peer, address, length);
}

}  // namespace radio
