// connect().
#include <bluetooth/bluetooth.h>

#include <cerrno>

#include "radio/Folder.h"
#include "radio/Kernel.h"
#include "radio/RcAddress.h"
#include "radio/Rfcomm.h"
#include "radio/Settings.h"

namespace radio {
namespace {

// The accepting side reads from the name who is calling.
int nameConnector(int fd) {
  bdaddr_t own = {};
  if (readOwnAddress(&own) != OwnAddress::kGood) return -EHOSTUNREACH;
  int bound = -EADDRINUSE;
  for (int tries = 0; bound == -EADDRINUSE && tries < 8; ++tries) {
    const Name name = connectorName(own);
    bound = kernel::bind(fd, &name.address, name.length);
  }
  return bound;
}

int reach(int fd, const Place& place) {
  if (place.channel < kFirstChannel || place.channel > kLastChannel) return -EINVAL;
  Folder folder;
  if (folder.error() != 0) return folder.error();
  Name name;
  Place bound;
  if (localNameOf(fd, &name) == 0 && readPlace(name, &bound)) {
    // It was bound to a channel, which it gives up by connecting.
    folder.remove(bound);
  } else {
    const int named = nameConnector(fd);
    if (named != 0) return named;
  }
  return folder.connect(fd, place);
}

}  // namespace

int connectTo(int fd, SocketState state, const sockaddr* address, socklen_t length) {
  Place place;
  const int read = readAddress(address, length, true, &place);
  if (read != 0) return read;
  if (state.state != State::kOpen && state.state != State::kBound) return -EBADFD;
  state.state = State::kClosed;
  state.anyAddress = false;
  const int closed = writeState(fd, state);
  if (closed != 0) return closed;
  const int reached = reach(fd, place);
  if (reached != 0) return reached;
  state.state = State::kConnected;
  const int marked = writeState(fd, state);
  if (marked != 0) return marked;
  // A radio never connects at once; who asked not to wait is told to look later.
  return (kernel::getFlags(fd) & O_NONBLOCK) != 0 ? -EINPROGRESS : 0;
}

}  // namespace radio
