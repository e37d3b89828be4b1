#include "radio/Rfcomm.h"

#include <bluetooth/bluetooth.h>
#include <poll.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "radio/Address.h"
#include "radio/Folder.h"
#include "radio/Kernel.h"
#include "radio/Next.h"

namespace radio {
namespace {

void complain(const char* what, const char* which, const char* why) {
  static constinit std::atomic<bool> said{false};
  if (said.exchange(true)) return;
  const kernel::KeepErrno keep;
  char line[512];
  std::snprintf(line, sizeof line, "virtual radio: %s \"%.300s\": %s\n", what, which, why);
  kernel::write(STDERR_FILENO, line, std::strlen(line));
}

}  // namespace

// socket() and shutdown().

namespace {

int enterOwnAdapter() {
  bdaddr_t own = {};
  if (readOwnAddress(&own) != OwnAddress::kGood) {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): only read
    complain(kAddressVariable, std::getenv(kAddressVariable), "no Bluetooth address");
    return -EAFNOSUPPORT;
  }
  Folder folder;
  const int error = folder.error() != 0 ? folder.error() : folder.enterAdapter(own);
  if (error != 0) complain("the folder", folder.path(), strerrordesc_np(-error));
  return error;
}

}  // namespace

bool isRadioSocket(int family, int type, int protocol) {
  constexpr int kFlags = SOCK_NONBLOCK | SOCK_CLOEXEC;
  if (family != AF_BLUETOOTH || (type & ~kFlags) != SOCK_STREAM || protocol != BTPROTO_RFCOMM) {
    return false;
  }
  bdaddr_t own = {};
  return readOwnAddress(&own) != OwnAddress::kNone;
}

int openSocket(int type) {
  const int entered = enterOwnAdapter();
  if (entered != 0) return entered;
  const int fd = kernel::socket(AF_UNIX, type, 0);
  if (fd < 0) return fd;
  forget(fd);
  const int marked = writeState(fd, SocketState{});
  if (marked == 0) return fd;
  kernel::close(fd);
  return marked;
}

// RFCOMM knows no half-closed links: whatever side is named, the whole link ends. A listener gives
// up its channel.
int shutDownLink(int fd, SocketState state) {
  const bool listened = state.state == State::kListening;
  state.state = State::kShutDown;
  const int marked = writeState(fd, state);
  if (marked != 0) return marked;
  Name name;
  Place place;
  if (listened && localNameOf(fd, &name) == 0 && readPlace(name, &place)) {
    Folder folder;
    if (folder.error() == 0) folder.remove(place);
  }
  return kernel::shutdown(fd, SHUT_RDWR);
}

// bind(), listen() and accept().

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

// connect().

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

// getsockname() and getpeername(). Both ends of a link have one channel, the listener's.

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
