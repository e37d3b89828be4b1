// bind(), listen() and accept().
#include <bluetooth/bluetooth.h>

#include <cerrno>

#include "radio/address.h"
#include "radio/descriptors.h"
#include "radio/folder.h"
#include "radio/kernel.h"
#include "radio/next.h"
#include "radio/rc_address.h"
#include "radio/rfcomm.h"
#include "radio/settings.h"

namespace radio {
namespace {

int BindTo(int fd, const Place& place) {
  Folder folder;
  return folder.error() != 0 ? folder.error() : folder.Bind(fd, place);
}

// Channel 0 was bound: the first free one is taken now.
int BindToFreeChannel(int fd) {
  Place place;
  if (ReadOwnAddress(&place.address) != OwnAddress::kGood) return -EADDRNOTAVAIL;
  Folder folder;
  if (folder.error() != 0) return folder.error();
  for (int channel = kFirstChannel; channel <= kLastChannel; ++channel) {
    place.channel = static_cast<uint8_t>(channel);
    const int bound = folder.Bind(fd, place);
    if (bound != -EADDRINUSE) return bound;
  }
  return -EINVAL;
}

bool HasName(int fd) {
  Name name;
  Place place;
  return LocalNameOf(fd, &name) == 0 && ReadPlace(name, &place);
}

// A listener that was shut down by another thread meanwhile.
int AcceptError(int fd, int error) {
  Mark mark;
  const bool shut_down = error == EINVAL && ReadMark(fd, &mark) && mark.state == State::kShutDown;
  return shut_down ? -EBADFD : -error;
}

// The place of a link that was just accepted; false for a stranger who is no radio.
bool ReadCaller(int fd, Place* caller) {
  Name name;
  Place own;
  if (PeerNameOf(fd, &name) != 0 || !ReadPlace(name, caller)) return false;
  if (LocalNameOf(fd, &name) != 0 || !ReadPlace(name, &own)) return false;
  caller->channel = own.channel;
  return true;
}

}  // namespace

int Bind(int fd, Mark mark, const sockaddr* address, socklen_t length) {
  Place place;
  const int read = ReadAddress(address, length, false, &place);
  if (read != 0) return read;
  if (mark.state != State::kOpen) return -EBADFD;
  if (place.channel > kLastChannel) return -EINVAL;
  bdaddr_t own = {};
  if (ReadOwnAddress(&own) != OwnAddress::kGood) return -EADDRNOTAVAIL;
  mark.any_address = IsAny(place.address);
  if (!mark.any_address && !SameAddress(place.address, own)) return -EADDRNOTAVAIL;
  place.address = own;
  const int bound = place.channel == 0 ? 0 : BindTo(fd, place);
  if (bound != 0) return bound;
  mark.state = State::kBound;
  return WriteMark(fd, mark);
}

int Listen(int fd, Mark mark, int backlog) {
  if (mark.state != State::kBound) return -EBADFD;
  const int named = HasName(fd) ? 0 : BindToFreeChannel(fd);
  if (named != 0) return named;
  const int listening = kernel::Listen(fd, backlog);
  if (listening != 0) return listening;
  mark.state = State::kListening;
  return WriteMark(fd, mark);
}

int Accept(int fd, const Mark& mark, sockaddr* address, socklen_t* length, int flags) {
  if (mark.state != State::kListening) return -EBADFD;
  for (;;) {
    const int link = next::accept4(fd, nullptr, nullptr, flags);
    if (link < 0) return AcceptError(fd, errno);
    Forget(link);
    Place caller;
    Mark accepted = mark;
    accepted.state = State::kAccepted;
    accepted.any_address = false;
    const bool known = ReadCaller(link, &caller);
    const int error = known ? WriteMark(link, accepted) : 0;
    if (known && error == 0) {
      const int written = WriteAddress(caller, address, length);
      if (written == 0) return link;
      kernel::Close(link);
      return written;
    }
    kernel::Close(link);
    if (error != 0) return error;
  }
}

}  // namespace radio
