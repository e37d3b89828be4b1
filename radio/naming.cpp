// getsockname() and getpeername(). Both ends of a link have one channel, the listener's.
#include <bluetooth/bluetooth.h>
#include <poll.h>

#include <cerrno>

#include "radio/kernel.h"
#include "radio/rc_address.h"
#include "radio/rfcomm.h"
#include "radio/settings.h"

namespace radio {
namespace {

bool IsHungUp(int fd) {
  const kernel::KeepErrno keep;
  pollfd wait = {fd, 0, 0};
  return poll(&wait, 1, 0) == 1 && (wait.revents & POLLHUP) != 0;
}

int ReadLink(int fd, const Mark& mark, Place* local, Place* peer) {
  Name name;
  const int local_named = LocalNameOf(fd, &name);
  if (local_named != 0) return local_named;
  if (!ReadPlace(name, local)) return -ENOTCONN;
  const int peer_named = PeerNameOf(fd, &name);
  if (peer_named != 0) return peer_named;
  if (!ReadPlace(name, peer)) return -ENOTCONN;
  // A connecting socket may have been bound to a channel of its own, which means nothing now.
  if (mark.state == State::kConnected) {
    local->channel = peer->channel;
  } else {
    peer->channel = local->channel;
  }
  return 0;
}

}  // namespace

int LocalName(int fd, const Mark& mark, sockaddr* address, socklen_t* length) {
  Place local;
  Place peer;
  Name name;
  if (IsLinked(mark) && ReadLink(fd, mark, &local, &peer) == 0) {
    return WriteAddress(local, address, length);
  }
  const bool bound = mark.state != State::kOpen;
  if (LocalNameOf(fd, &name) != 0 || !ReadPlace(name, &local)) {
    local = Place{};
    if (bound) static_cast<void>(ReadOwnAddress(&local.address));
  }
  if (mark.any_address) local.address = bdaddr_t{};
  return WriteAddress(local, address, length);
}

int PeerName(int fd, const Mark& mark, sockaddr* address, socklen_t* length) {
  if (!IsLinked(mark) || IsHungUp(fd)) return -ENOTCONN;
  Place local;
  Place peer;
  const int read = ReadLink(fd, mark, &local, &peer);
  return read != 0 ? read : WriteAddress(peer, address, length);
}

}  // namespace radio
