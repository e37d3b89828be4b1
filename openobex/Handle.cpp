#include "openobex/Handle.h"

#include <bluetooth/rfcomm.h>
#include <fcntl.h>
#include <openobex/obex.h>
#include <poll.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <thread>

#include "framework/RadioLinkIfc.h"

namespace openobex {
namespace {

/// Maximum packet size, both ways. The library's receive buffer never grows, so it must hold
/// whatever a peer may send; smaller packets out are slower.
constexpr std::uint16_t kMaxPacket = 65535;
/// Maximum calls of the library per packet (normally 1 or 2); stops a library bug from looping.
constexpr int kMaxSteps = 64;
constexpr int kMaxTimeout = 24 * 60 * 60;
/// Keeps the caller's input loop from spinning until it sees that it was disabled.
constexpr std::chrono::milliseconds kStoppingPause(20);

/// The library uses `select`, which aborts on descriptors from FD_SETSIZE on.
bool isSelectable(int descriptor) { return descriptor >= 0 && descriptor < FD_SETSIZE; }

void setNonBlocking(int descriptor) {
  const int flags = fcntl(descriptor, F_GETFL);
  if (flags >= 0) fcntl(descriptor, F_SETFL, flags | O_NONBLOCK);
}

bool hostIsStopping() {
  RadioLinkAccess link;
  return link && link->linkStopping();
}

std::string addressText(const bdaddr_t& address) {
  std::array<char, 18> text{};
  std::snprintf(text.data(), text.size(), "%02X:%02X:%02X:%02X:%02X:%02X", address.b[5],
                address.b[4], address.b[3], address.b[2], address.b[1], address.b[0]);
  return text.data();
}

/// Empty when the peer has gone already.
std::string peerAddress(int socket) {
  sockaddr_rc peer{};
  socklen_t size = sizeof peer;
  if (getpeername(socket, reinterpret_cast<sockaddr*>(&peer), &size) != 0) return {};
  return addressText(peer.rc_bdaddr);
}

thread_local Handle* currentHandle = nullptr;

}  // namespace

Handle* Handle::current() { return currentHandle; }

std::unique_ptr<Handle> Handle::create(int transport, EventCallback callback, unsigned int flags) {
  // letLibraryAccept takes a listener that stays open for a failed accept.
  flags = (flags | OBEX_FL_CLOEXEC) & ~static_cast<unsigned>(OBEX_FL_KEEPSERVER);
  obex_t* library = ::OBEX_Init(transport, &Handle::onEvent, flags);
  if (library == nullptr) return nullptr;
  std::unique_ptr<Handle> handle(new Handle(library, callback));
  ::OBEX_SetUserData(library, handle.get());
  return handle;
}

Handle::Handle(obex_t* library, EventCallback callback)
    : m_library(library), m_callback(callback), m_cursor(library) {}

Handle::~Handle() {
  // OBEX_Cleanup leaks the object of an unfinished request, so cancel that first.
  m_muted = true;
  ::OBEX_CancelRequest(m_library, 0);
  ::OBEX_Cleanup(m_library);
  endLink("closed by this side");
  if (!m_server || m_withoutSocket) return;
  if (RadioLinkAccess link; link) link->linkStopped();
}

int Handle::registerServer(const bdaddr_t* source, std::uint8_t channel) {
  // The library would leak its first socket.
  if (m_server || m_broken || m_link != nullptr) return -1;
  if (hostIsStopping()) {
    m_server = m_withoutSocket = true;
    return 0;
  }
  const int result = listen(source, channel);
  const int error = errno;
  m_server = result >= 0;
  RadioLinkAccess link;
  if (link && m_server) link->linkListening(channel);
  if (link && !m_server) link->listenFailed(channel, error);
  return result;
}

/// Negative with `errno` set on failure.
int Handle::listen(const bdaddr_t* source, std::uint8_t channel) {
  ::OBEX_SetTransportMTU(m_library, kMaxPacket, kMaxPacket);
  // For a null address the library binds uninitialised bytes.
  const bdaddr_t any{};
  const int result = ::BtOBEX_ServerRegister(m_library, source == nullptr ? &any : source, channel);
  if (result < 0) return result;
  if (!isSelectable(::OBEX_GetFD(m_library))) {
    // Only OBEX_Cleanup closes the socket; registering again would leak it.
    m_broken = true;
    errno = EMFILE;
    return -1;
  }
  // The library must not block in accept when the peer has gone before that.
  setNonBlocking(::OBEX_GetFD(m_library));
  return result;
}

int Handle::connect(const bdaddr_t* source, const bdaddr_t* destination, std::uint8_t channel) {
  if (m_server || m_broken) return -1;
  const bdaddr_t any{};
  const int result =
      ::BtOBEX_TransportConnect(m_library, source == nullptr ? &any : source, destination, channel);
  if (result < 0) return result;
  auto link = std::make_unique<GuardedLink>(PacketGuard::Side::kClient);
  const int descriptor = ::OBEX_GetFD(m_library);
  if (!isSelectable(descriptor) || !link->open(descriptor)) {
    ::OBEX_TransportDisconnect(m_library);
    return -1;
  }
  // Not earlier: the buffers are large, and callers may keep a handle whose connect failed.
  ::OBEX_SetTransportMTU(m_library, kMaxPacket, kMaxPacket);
  m_link = std::move(link);
  return result;
}

int Handle::handleInput(int timeout) {
  if (m_broken) return -1;
  const std::chrono::seconds wait(std::clamp(timeout, 0, kMaxTimeout));
  if (m_withoutSocket) return waitWhileStopping(wait);
  if (m_link == nullptr) return m_server ? acceptPeer(wait) : -1;
  if (::OBEX_GetDataDirection(m_library) == OBEX_DATA_OUT) return sendRequest();
  return receivePacket(wait);
}

/// For a server without socket, whose caller is about to see that it was disabled. If the host is
/// no longer stopping, a link error makes the caller register again.
int Handle::waitWhileStopping(std::chrono::milliseconds timeout) {
  if (!hostIsStopping()) return broken("no longer stopping");
  std::this_thread::sleep_for(std::min(timeout, kStoppingPause));
  return 0;
}

/// Polls the listener, so that the library is called only when a peer is there.
int Handle::acceptPeer(std::chrono::milliseconds timeout) {
  const int listener = ::OBEX_GetFD(m_library);
  pollfd waiting{listener, POLLIN, 0};
  const int ready = poll(&waiting, 1, static_cast<int>(timeout.count()));
  if (ready == 0 || (ready < 0 && errno == EINTR)) return 0;
  if (ready < 0 || !letLibraryAccept(listener)) return broken("could not accept the peer");
  return admitPeer();
}

/// When accept fails, the library reports success, drops its transport and crashes in OBEX_GetFD.
/// It closes the listener on success only, so check that; by inode, because another thread may have
/// reused the descriptor.
bool Handle::letLibraryAccept(int listener) {
  struct stat before {};
  struct stat after {};
  if (fstat(listener, &before) != 0) return false;
  const int result = ::OBEX_HandleInput(m_library, 0);
  const bool stillOpen = fstat(listener, &after) == 0 && after.st_dev == before.st_dev &&
                         after.st_ino == before.st_ino;
  if (stillOpen) ::close(listener);  // the library has forgotten it
  return result >= 0 && !stillOpen;
}

int Handle::admitPeer() {
  const int accepted = ::OBEX_GetFD(m_library);
  auto guarded = std::make_unique<GuardedLink>(PacketGuard::Side::kServer);
  if (!isSelectable(accepted) || !guarded->open(accepted)) {
    return broken("no file descriptors left");
  }
  m_link = std::move(guarded);
  bool admitted = true;
  if (RadioLinkAccess link; link) admitted = link->linkAccepted(peerAddress(m_link->radio()));
  return admitted ? 1 : broken("the peer was not let in");
}

int Handle::receivePacket(std::chrono::milliseconds timeout) {
  switch (m_link->receive(timeout)) {
    case GuardedLink::Result::kTimeOut:
      return 0;
    case GuardedLink::Result::kRepeated:
      return 1;
    case GuardedLink::Result::kClosed:
      return broken(m_link->reason());
    case GuardedLink::Result::kPacket:
      break;
  }
  return m_link->handOver() ? work() : broken(m_link->reason());
}

int Handle::sendRequest() {
  const int result = ::OBEX_HandleInput(m_library, 0);
  if (m_broken || result < 0) return broken("could not send the request");
  return m_link->carryAnswers() ? 1 : broken(m_link->reason());
}

/// Calls the library until it has read the whole packet, and sends its answer.
int Handle::work() {
  m_connectRefused = false;
  for (int step = 0; step < kMaxSteps; ++step) {
    const int result = ::OBEX_HandleInput(m_library, 0);
    if (m_broken || (result < 0 && !m_connectRefused)) break;
    if (m_link->hasUnreadInput()) continue;
    if (!m_link->carryAnswers()) return broken(m_link->reason());
    tellAnswer();
    return 1;
  }
  return broken("the OBEX library refused a packet");
}

/// Closes the link for good and reports OBEX_EV_LINKERR, once. Returns -1.
int Handle::broken(std::string reason) {
  const bool known = m_broken;
  m_broken = true;
  endLink(reason);
  if (!known) call(nullptr, m_server ? OBEX_MODE_SERVER : OBEX_MODE_CLIENT, OBEX_EV_LINKERR, 0, 0);
  return -1;
}

void Handle::endLink(std::string reason) {
  if (m_link == nullptr) return;
  if (m_server && m_link->guard().command() == OBEX_CMD_PUT && m_link->guard().requestUnderWay())
    tellObject();
  m_objectTold = false;
  m_link.reset();
  if (!m_server) return;
  if (RadioLinkAccess link; link) link->linkClosed(reason);
}

int Handle::request(obex_object* object) {
  if (m_broken || object == nullptr) return -1;
  if (forgetOpenBody(object)) {
    // Without End-of-Body a server doesn't see the body.
    const obex_headerdata_t nothing{};
    ::OBEX_ObjectAddHeader(m_library, object, OBEX_HDR_BODY_END, nothing, 0,
                           OBEX_FL_STREAM_DATAEND);
  }
  const int result = ::OBEX_Request(m_library, object);
  if (result >= 0 && m_link != nullptr) m_link->beginRequest();
  return result;
}

int Handle::cancel(int nice) {
  if (m_broken) return -1;
  if (m_link != nullptr) m_link->giveUpRequest();
  const int result = ::OBEX_CancelRequest(m_library, nice);
  // Without `nice` the library drops the request with LINKERR, and would crash on a late response.
  if (m_broken) endLink("cancelled");
  return result;
}

int Handle::deleteObject(obex_object* object) {
  if (object == nullptr) return -1;
  forgetOpenBody(object);
  return ::OBEX_ObjectDelete(m_library, object);
}

void Handle::headerAdded(obex_object* object, std::uint8_t identifier, unsigned int flags) {
  if (identifier == OBEX_HDR_BODY_END) forgetOpenBody(object);
  if (identifier != OBEX_HDR_BODY || flags != 0) return;
  forgetOpenBody(object);
  m_openBodies.push_back(object);
}

bool Handle::forgetOpenBody(obex_object* object) { return std::erase(m_openBodies, object) > 0; }

void Handle::onEvent(obex_t* library, obex_object* object, int mode, int event, int command,
                     int response) {
  static_cast<Handle*>(::OBEX_GetUserData(library))
      ->handleEvent(object, mode, event, command, response);
}

void Handle::handleEvent(obex_object* object, int mode, int event, int command, int response) {
  if (event == OBEX_EV_LINKERR) {
    // Keep the link until the library has returned: it may still write to it.
    if (m_broken) return;
    m_broken = true;
  } else if (mode == OBEX_MODE_SERVER) {
    handleServerEvent(object, event, command, response);
    return;
  } else if (event == OBEX_EV_PARSEERR && command == OBEX_CMD_CONNECT) {
    // The library reports a refused CONNECT as a parse error; report it as a response.
    m_connectRefused = true;
    event = OBEX_EV_REQDONE;
    const int answer = m_link == nullptr ? -1 : m_link->lastReceived();
    response = answer == OBEX_RSP_SUCCESS ? static_cast<int>(OBEX_RSP_BAD_REQUEST) : answer;
  }
  call(object, mode, event, command, response);
}

void Handle::handleServerEvent(obex_object* object, int event, int command, int response) {
  if (event == OBEX_EV_REQHINT) {
    // The library's default is to refuse every request.
    ::OBEX_ObjectSetRsp(object, OBEX_RSP_CONTINUE, OBEX_RSP_SUCCESS);
    m_response = OBEX_RSP_CONTINUE;
    m_cursor.begin(command);
  } else if (event == OBEX_EV_REQCHECK) {
    m_cursor.beginCheck();
  } else if (event == OBEX_EV_REQ) {
    m_cursor.beginRequest();
    if (command == OBEX_CMD_PUT) tellObject();
  }
  call(object, OBEX_MODE_SERVER, event, command, response);
  if (event == OBEX_EV_REQCHECK) {
    m_cursor.endCheck(object, m_response == OBEX_RSP_CONTINUE || m_response == OBEX_RSP_SUCCESS);
  } else if (event == OBEX_EV_REQ) {
    m_cursor.endRequest();
  }
}

void Handle::call(obex_object* object, int mode, int event, int command, int response) {
  if (m_muted) return;
  Handle* const outer = currentHandle;
  currentHandle = this;
  m_callback(asVoid(), reinterpret_cast<void**>(object), mode, event, command, response);
  currentHandle = outer;
}

void Handle::tellObject() {
  if (m_link == nullptr || m_objectTold) return;
  m_objectTold = true;
  const PacketGuard& guard = m_link->guard();
  if (RadioLinkAccess link; link) link->linkObject(guard.objectName(), guard.bodySize());
}

/// Tells the host of the response just sent, unless it is CONTINUE.
void Handle::tellAnswer() {
  if (!m_server || m_link->lastSent() < 0 || m_link->lastSent() == OBEX_RSP_CONTINUE) return;
  // Not told yet if it was refused before its last packet.
  if (m_link->guard().command() == OBEX_CMD_PUT) tellObject();
  m_objectTold = false;
  if (RadioLinkAccess link; link) link->linkAnswered(m_link->guard().command(), m_link->lastSent());
}

}  // namespace openobex
