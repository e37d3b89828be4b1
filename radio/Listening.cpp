// bind(), listen() and accept().
#include <bluetooth/bluetooth.h>

#include <cerrno>

#include "radio/Address.h"
#include "radio/Descriptors.h"
#include "radio/Folder.h"
#include "radio/Kernel.h"
#include "radio/Next.h"
#include "radio/RcAddress.h"
#include "radio/Rfcomm.h"
#include "radio/Settings.h"

namespace radio {
namespace {

int bindTo(int fd, const Place& place) {
  Folder folder;
  return folder.error() != 0 ? folder.error() : folder.bind(fd, place);
}

// Channel 0 was bound: the first free one is taken now.
int bindToFreeChannel(int fd) {
  Place place;
  if (readOwnAddress(&place.address) != OwnAddress::kGood) return -EADDRNOTAVAIL;
  Folder folder;
  if (folder.error() != 0) return folder.error();
  for (int channel = kFirstChannel; channel <= kLastChannel; ++channel) {
    place.channel = static_cast<uint8_t>(channel);
    const int bound = folder.bind(fd, place);
    if (bound != -EADDRINUSE) return bound;
  }
  return -EINVAL;
}

bool hasName(int fd) {
  Name name;
  Place place;
  return localNameOf(fd, &name) == 0 && readPlace(name, &place);
}

// A listener that was shut down by another thread meanwhile.
int acceptError(int fd, int error) {
  Mark mark;
  const bool shutDown = error == EINVAL && readMark(fd, &mark) && mark.state == State::kShutDown;
  return shutDown ? -EBADFD : -error;
}

// The place of a link that was just accepted; false for a stranger who is no radio.
bool readCaller(int fd, Place* caller) {
  Name name;
  Place own;
  if (peerNameOf(fd, &name) != 0 || !readPlace(name, caller)) return false;
  if (localNameOf(fd, &name) != 0 || !readPlace(name, &own)) return false;
  caller->channel = own.channel;
  return true;
}

}  // namespace

int bindSocket(int fd, Mark mark, const sockaddr* address, socklen_t length) {
  Place place;
  const int read = readAddress(address, length, false, &place);
  if (read != 0) return read;
  if (mark.state != State::kOpen) return -EBADFD;
  if (place.channel > kLastChannel) return -EINVAL;
  bdaddr_t own = {};
  if (readOwnAddress(&own) != OwnAddress::kGood) return -EADDRNOTAVAIL;
  mark.anyAddress = isAny(place.address);
  if (!mark.anyAddress && !sameAddress(place.address, own)) return -EADDRNOTAVAIL;
  place.address = own;
  const int bound = place.channel == 0 ? 0 : bindTo(fd, place);
  if (bound != 0) return bound;
  mark.state = State::kBound;
  return writeMark(fd, mark);
}

int listenOn(int fd, Mark mark, int backlog) {
  if (mark.state != State::kBound) return -EBADFD;
  const int named = hasName(fd) ? 0 : bindToFreeChannel(fd);
  if (named != 0) return named;
  const int listening = kernel::listen(fd, backlog);
  if (listening != 0) return listening;
  mark.state = State::kListening;
  return writeMark(fd, mark);
}

int acceptLink(int fd, const Mark& mark, sockaddr* address, socklen_t* length, int flags) {
  if (mark.state != State::kListening) return -EBADFD;
  for (;;) {
    const int link = next::accept4(fd, nullptr, nullptr, flags);
    if (link < 0) return acceptError(fd, errno);
    forget(link);
    Place caller;
    Mark accepted = mark;
    accepted.state = State::kAccepted;
    accepted.anyAddress = false;
    const bool known = readCaller(link, &caller);
    const int error = known ? writeMark(link, accepted) : 0;
    if (known && error == 0) {
      const int written = writeAddress(caller, address, length);
      if (written == 0) return link;
      kernel::close(link);
      return written;
    }
    kernel::close(link);
    if (error != 0) return error;
  }
}

}  // namespace radio
