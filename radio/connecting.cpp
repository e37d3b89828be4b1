// connect().
#include <bluetooth/bluetooth.h>

#include <cerrno>

#include "radio/folder.h"
#include "radio/kernel.h"
#include "radio/rc_address.h"
#include "radio/rfcomm.h"
#include "radio/settings.h"

namespace radio {
namespace {

// The accepting side reads from the name who is calling.
int NameConnector(int fd) {
  bdaddr_t own = {};
  if (ReadOwnAddress(&own) != OwnAddress::kGood) return -EHOSTUNREACH;
  int bound = -EADDRINUSE;
  for (int tries = 0; bound == -EADDRINUSE && tries < 8; ++tries) {
    const Name name = ConnectorName(own);
    bound = kernel::Bind(fd, &name.address, name.length);
  }
  return bound;
}

int Reach(int fd, const Place& place) {
  if (place.channel < kFirstChannel || place.channel > kLastChannel) return -EINVAL;
  Folder folder;
  if (folder.error() != 0) return folder.error();
  Name name;
  Place bound;
  if (LocalNameOf(fd, &name) == 0 && ReadPlace(name, &bound)) {
    // It was bound to a channel, which it gives up by connecting.
    folder.Remove(bound);
  } else {
    const int named = NameConnector(fd);
    if (named != 0) return named;
  }
  return folder.Connect(fd, place);
}

}  // namespace

int Connect(int fd, Mark mark, const sockaddr* address, socklen_t length) {
  Place place;
  const int read = ReadAddress(address, length, true, &place);
  if (read != 0) return read;
  if (mark.state != State::kOpen && mark.state != State::kBound) return -EBADFD;
  mark.state = State::kClosed;
  mark.any_address = false;
  const int closed = WriteMark(fd, mark);
  if (closed != 0) return closed;
  const int reached = Reach(fd, place);
  if (reached != 0) return reached;
  mark.state = State::kConnected;
  const int marked = WriteMark(fd, mark);
  if (marked != 0) return marked;
  // A radio never connects at once; who asked not to wait is told to look later.
  return (kernel::GetFlags(fd) & O_NONBLOCK) != 0 ? -EINPROGRESS : 0;
}

}  // namespace radio
