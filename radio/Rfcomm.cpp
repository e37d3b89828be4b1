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

// Prints one line to stderr, once per process.
void warnOnce(const char* what, const char* value, const char* reason) {
  static constinit std::atomic<bool> warned{false};
  if (warned.exchange(true)) return;
  const kernel::KeepErrno keep;
  char line[512];
  std::snprintf(line, sizeof line, "virtual radio: %s \"%.300s\": %s\n", what, value, reason);
  kernel::write(STDERR_FILENO, line, std::strlen(line));
}

int addOwnAdapter() {
  bdaddr_t own = {};
  if (readOwnAddress(&own) != OwnAddress::kValid) {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): only read
    warnOnce(kAddressVariable, std::getenv(kAddressVariable), "not a Bluetooth address");
    return -EAFNOSUPPORT;
  }
  Folder folder;
  const int error = folder.error() != 0 ? folder.error() : folder.addAdapter(own);
  if (error != 0) warnOnce("the folder", folder.path(), strerrordesc_np(-error));
  return error;
}

bool hasName(int fd) {
  Name name;
  Endpoint endpoint;
  return localNameOf(fd, &name) == 0 && parseName(name, &endpoint);
}

int bindTo(int fd, const Endpoint& endpoint) {
  Folder folder;
  return folder.error() != 0 ? folder.error() : folder.bind(fd, endpoint);
}

// For a socket bound to channel 0.
int bindToFreeChannel(int fd) {
  Endpoint endpoint;
  if (readOwnAddress(&endpoint.address) != OwnAddress::kValid) return -EADDRNOTAVAIL;
  Folder folder;
  if (folder.error() != 0) return folder.error();
  for (int channel = kFirstChannel; channel <= kLastChannel; ++channel) {
    endpoint.channel = static_cast<uint8_t>(channel);
    const int bound = folder.bind(fd, endpoint);
    if (bound != -EADDRINUSE) return bound;
  }
  return -EINVAL;
}

// Another thread may have shut the listener down meanwhile.
int acceptError(int fd, int error) {
  SocketState state;
  const bool shutDown = error == EINVAL && readState(fd, &state) && state.state == State::kShutDown;
  return shutDown ? -EBADFD : -error;
}

// The caller's address and the listener's channel. False for a Unix socket that isn't the radio's.
bool readCaller(int fd, Endpoint* caller) {
  Name name;
  Endpoint own;
  if (peerNameOf(fd, &name) != 0 || !parseName(name, caller)) return false;
  if (localNameOf(fd, &name) != 0 || !parseName(name, &own)) return false;
  caller->channel = own.channel;
  return true;
}

// Binds to a name with this process's address, from which the accepting side learns it.
int nameConnector(int fd) {
  bdaddr_t own = {};
  if (readOwnAddress(&own) != OwnAddress::kValid) return -EHOSTUNREACH;
  int bound = -EADDRINUSE;
  for (int tries = 0; bound == -EADDRINUSE && tries < 8; ++tries) {
    const Name name = connectorName(own);
    bound = kernel::bind(fd, &name.address, name.length);
  }
  return bound;
}

int reach(int fd, const Endpoint& endpoint) {
  if (endpoint.channel < kFirstChannel || endpoint.channel > kLastChannel) return -EINVAL;
  Folder folder;
  if (folder.error() != 0) return folder.error();
  Name name;
  Endpoint bound;
  if (localNameOf(fd, &name) == 0 && parseName(name, &bound)) {
    // A socket bound to a channel frees it by connecting.
    folder.remove(bound);
  } else {
    const int named = nameConnector(fd);
    if (named != 0) return named;
  }
  return folder.connect(fd, endpoint);
}

bool isHungUp(int fd) {
  const kernel::KeepErrno keep;
  pollfd wait = {fd, 0, 0};
  return poll(&wait, 1, 0) == 1 && (wait.revents & POLLHUP) != 0;
}

// The names of both ends, which have one channel, the listener's.
int readLink(int fd, const SocketState& state, Endpoint* local, Endpoint* peer) {
  Name name;
  const int localNamed = localNameOf(fd, &name);
  if (localNamed != 0) return localNamed;
  if (!parseName(name, local)) return -ENOTCONN;
  const int peerNamed = peerNameOf(fd, &name);
  if (peerNamed != 0) return peerNamed;
  if (!parseName(name, peer)) return -ENOTCONN;
  // A connecting socket may have been bound to a channel, which doesn't count any more.
  if (state.state == State::kConnected || local->channel == 0) {
    local->channel = peer->channel;
  } else {
    peer->channel = local->channel;
  }
  return 0;
}

}  // namespace

bool isRadioSocket(int family, int type, int protocol) {
  constexpr int kFlags = SOCK_NONBLOCK | SOCK_CLOEXEC;
  if (family != AF_BLUETOOTH || (type & ~kFlags) != SOCK_STREAM || protocol != BTPROTO_RFCOMM) {
    return false;
  }
  bdaddr_t own = {};
  return readOwnAddress(&own) != OwnAddress::kUnset;
}

int openSocket(int type) {
  const int added = addOwnAdapter();
  if (added != 0) return added;
  const int fd = kernel::socket(AF_UNIX, type, 0);
  if (fd < 0) return fd;
  forget(fd);
  const int marked = writeState(fd, SocketState{});
  if (marked == 0) return fd;
  kernel::close(fd);
  return marked;
}

int bindSocket(int fd, SocketState state, const sockaddr* address, socklen_t length) {
  Endpoint endpoint;
  const int read = readFromCaller(address, length, false, &endpoint);
  if (read != 0) return read;
  if (state.state != State::kOpen) return -EBADFD;
  if (endpoint.channel > kLastChannel) return -EINVAL;
  bdaddr_t own = {};
  if (readOwnAddress(&own) != OwnAddress::kValid) return -EADDRNOTAVAIL;
  state.anyAddress = isAny(endpoint.address);
  if (!state.anyAddress && !sameAddress(endpoint.address, own)) return -EADDRNOTAVAIL;
  endpoint.address = own;
  const int bound = endpoint.channel == 0 ? 0 : bindTo(fd, endpoint);
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
    Endpoint caller;
    SocketState accepted = state;
    accepted.state = State::kAccepted;
    accepted.anyAddress = false;
    const bool known = readCaller(link, &caller);
    const int error = known ? writeState(link, accepted) : 0;
    if (known && error == 0) {
      const int written = copyToCaller(caller, address, length);
      if (written == 0) return link;
      kernel::close(link);
      return written;
    }
    kernel::close(link);
    if (error != 0) return error;
  }
}

int connectTo(int fd, SocketState state, const sockaddr* address, socklen_t length) {
  Endpoint endpoint;
  const int read = readFromCaller(address, length, true, &endpoint);
  if (read != 0) return read;
  if (state.state != State::kOpen && state.state != State::kBound) return -EBADFD;
  state.state = State::kClosed;
  state.anyAddress = false;
  const int closed = writeState(fd, state);
  if (closed != 0) return closed;
  const int reached = reach(fd, endpoint);
  if (reached != 0) return reached;
  state.state = State::kConnected;
  const int marked = writeState(fd, state);
  if (marked != 0) return marked;
  // As in the kernel, a non-blocking connect never completes at once.
  return (kernel::getFlags(fd) & O_NONBLOCK) != 0 ? -EINPROGRESS : 0;
}

// RFCOMM has no half-closed links: `how` is ignored. A listener frees its channel.
int shutDownLink(int fd, SocketState state) {
  const bool listened = state.state == State::kListening;
  state.state = State::kShutDown;
  const int marked = writeState(fd, state);
  if (marked != 0) return marked;
  Name name;
  Endpoint endpoint;
  if (listened && localNameOf(fd, &name) == 0 && parseName(name, &endpoint)) {
    Folder folder;
    if (folder.error() == 0) folder.remove(endpoint);
  }
  return kernel::shutdown(fd, SHUT_RDWR);
}

int localName(int fd, const SocketState& state, sockaddr* address, socklen_t* length) {
  Endpoint local;
  Endpoint peer;
  Name name;
  const bool linked = isLinked(state) || state.state == State::kShutDown;
  if (linked && readLink(fd, state, &local, &peer) == 0) {
    return copyToCaller(local, address, length);
  }
  const bool bound = state.state != State::kOpen;
  if (localNameOf(fd, &name) != 0 || !parseName(name, &local)) {
    local = Endpoint{};
    if (bound) static_cast<void>(readOwnAddress(&local.address));
  }
  if (state.anyAddress) local.address = bdaddr_t{};
  return copyToCaller(local, address, length);
}

int peerName(int fd, const SocketState& state, sockaddr* address, socklen_t* length) {
  if (!isLinked(state) || isHungUp(fd)) return -ENOTCONN;
  Endpoint local;
  Endpoint peer;
  const int read = readLink(fd, state, &local, &peer);
  return read != 0 ? read : copyToCaller(peer, address, length);
}

}  // namespace radio
