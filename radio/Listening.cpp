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
  SocketState state;
  const bool shutDown = error == EINVAL && readState(fd, &state) && state.state == State::kShutDown;
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

int bindSocket(int fd, SocketState state, const sockaddr* address, socklen_t length) {
  Place place;
  const int read = readAddress(address, length, false, &place);
  if (read != 0) return read;
  if (state.state != State::kOpen) return -EBADFD;
  if (place.channel > kLastChannel) return -EINVAL;
  bdaddr_t own = {};
  if (readOwnAddress(&own) != OwnAddress::kGood) return -EADDRNOTAVAIL;
  state.anyAddress = isAny(place.address);
  if (!state.anyAddress && !sameAddress(place.address, own)) return -EADDRNOTAVAIL;
  place.address = own;
  const int bound = place.channel == 0 ? 0 : bindTo(fd, place);
  if (bound != 0) return bound;
  state.state = State::kBound;
  return writeState(fd, state);
}

int listenOn(int fd, SocketState state, int backlog) {
  if (state.state != State::kBound) return -EBADFD;
  const int named = hasName(fd) ? 0 : bindToFreeChannel(fd);
  if (named != 0) return named;
  const int listening = kernel::listen(fd, backlog);
  if (listening != 0) return listening;
  state.state = State::kListening;
  return writeState(fd, state);
}

int acceptLink(int fd, const SocketState& state, sockaddr* address, socklen_t* length, int flags) {
  if (state.state != State::kListening) return -EBADFD;
  for (;;) {
    const int link = next::accept4(fd, nullptr, nullptr, flags);
    if (link < 0) return acceptError(fd, errno);
    forget(link);
    Place caller;
    SocketState accepted = state;
    accepted.state = State::kAccepted;
    accepted.anyAddress = false;
    const bool known = readCaller(link, &caller);
    const int error = known ? writeState(link, accepted) : 0;
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
