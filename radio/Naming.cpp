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

int readLink(int fd, const SocketState& state, Place* local, Place* peer) {
  Name name;
  const int localNamed = localNameOf(fd, &name);
  if (localNamed != 0) return localNamed;
  if (!readPlace(name, local)) return -ENOTCONN;
  const int peerNamed = peerNameOf(fd, &name);
  if (peerNamed != 0) return peerNamed;
  if (!readPlace(name, peer)) return -ENOTCONN;
  // A connecting socket may have been bound to a channel of its own, which means nothing now.
  if (state.state == State::kConnected || local->channel == 0) {
    local->channel = peer->channel;
  } else {
    peer->channel = local->channel;
  }
  return 0;
}

}  // namespace

int localName(int fd, const SocketState& state, sockaddr* address, socklen_t* length) {
  Place local;
  Place peer;
  Name name;
  const bool linked = isLinked(state) || state.state == State::kShutDown;
  if (linked && readLink(fd, state, &local, &peer) == 0) {
    return writeAddress(local, address, length);
  }
  const bool bound = state.state != State::kOpen;
  if (localNameOf(fd, &name) != 0 || !readPlace(name, &local)) {
    local = Place{};
    if (bound) static_cast<void>(readOwnAddress(&local.address));
  }
  if (state.anyAddress) local.address = bdaddr_t{};
  return writeAddress(local, address, length);
}

int peerName(int fd, const SocketState& state, sockaddr* address, socklen_t* length) {
  if (!isLinked(state) || isHungUp(fd)) return -ENOTCONN;
  Place local;
  Place peer;
  const int read = readLink(fd, state, &local, &peer);
  return read != 0 ? read : writeAddress(peer, address, length);
}

}  // namespace radio
