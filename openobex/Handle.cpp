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

#include "framework/RadioLinkIfc.h"

namespace openobex {
namespace {

/// Packets of the largest size both ways: smaller ones cost time on the radio, and the library's
/// receive buffer, which it never grows, must hold whatever a peer may send.
constexpr std::uint16_t kMaxPacket = 65535;
/// So often the library may be called for one packet; it needs one or two, and a fault of its own
/// must not loop.
constexpr int kMaxSteps = 64;
constexpr int kMaxTimeout = 24 * 60 * 60;

/// The library waits with `select`, which knows no descriptors beyond its set.
bool isSelectable(int descriptor) { return descriptor >= 0 && descriptor < FD_SETSIZE; }

bool hasSelectableDescriptors() {
  const int next = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0);
  if (next < 0) return false;
  ::close(next);
  return isSelectable(next);
}

void setNonBlocking(int descriptor) {
  const int flags = fcntl(descriptor, F_GETFL);
  if (flags >= 0) fcntl(descriptor, F_SETFL, flags | O_NONBLOCK);
}

std::string addressText(const bdaddr_t& address) {
  std::array<char, 18> text{};
  std::snprintf(text.data(), text.size(), "%02X:%02X:%02X:%02X:%02X:%02X", address.b[5],
                address.b[4], address.b[3], address.b[2], address.b[1], address.b[0]);
  return text.data();
}

/// Empty when the peer is gone already.
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
  // A listener that stays open could not be told from one that failed to accept.
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
  // The library's clean-up loses the object of an unfinished request, body and all; cancelling it
  // first doesn't.
  m_muted = true;
  ::OBEX_CancelRequest(m_library, 0);
  ::OBEX_Cleanup(m_library);
  endLink("ended by this side");
  if (!m_server) return;
  if (RadioLinkAccess link; link) link->linkStopped();
}

int Handle::registerServer(const bdaddr_t* source, std::uint8_t channel) {
  // A second registration would cost the library its first socket, and the process the descriptor.
  if (m_server || m_broken || m_link != nullptr || !hasSelectableDescriptors()) return -1;
  ::OBEX_SetTransportMTU(m_library, kMaxPacket, kMaxPacket);
  // The library takes a missing address for the bytes that happen to lie there.
  const bdaddr_t any{};
  const int result = ::BtOBEX_ServerRegister(m_library, source == nullptr ? &any : source, channel);
  if (result < 0) return result;
  if (!usesSelectableDescriptor()) return -1;
  // A peer that is gone again before it is accepted must not make the library wait for the next.
  setNonBlocking(::OBEX_GetFD(m_library));
  m_server = true;
  if (RadioLinkAccess link; link) link->linkListening(channel);
  return result;
}

int Handle::connect(const bdaddr_t* source, const bdaddr_t* destination, std::uint8_t channel) {
  if (m_server || m_broken || m_link != nullptr || destination == nullptr) return -1;
  if (!hasSelectableDescriptors()) return -1;
  const bdaddr_t any{};
  const int result =
      ::BtOBEX_TransportConnect(m_library, source == nullptr ? &any : source, destination, channel);
  if (result < 0) return result;
  if (!usesSelectableDescriptor()) return -1;
  auto link = std::make_unique<GuardedLink>(PacketGuard::Side::kClient);
  if (!link->open(::OBEX_GetFD(m_library))) {
    ::OBEX_TransportDisconnect(m_library);
    return -1;
  }
  // Not before: the buffers are large, and a handle whose connect failed may be kept.
  ::OBEX_SetTransportMTU(m_library, kMaxPacket, kMaxPacket);
  m_link = std::move(link);
  return result;
}

/// Another thread may have taken the last descriptor that `select` knows. The library then gives
/// its own back and may try again.
bool Handle::usesSelectableDescriptor() {
  if (isSelectable(::OBEX_GetFD(m_library))) return true;
  ::OBEX_TransportDisconnect(m_library);
  return false;
}

int Handle::handleInput(int timeout) {
  if (m_broken) return -1;
  const std::chrono::seconds wait(std::clamp(timeout, 0, kMaxTimeout));
  if (m_link == nullptr) return m_server ? acceptPeer(wait) : -1;
  if (::OBEX_GetDataDirection(m_library) == OBEX_DATA_OUT) return sendRequest();
  return receivePacket(wait);
}

/// Waits for a peer on the listening descriptor, so that the library is called only when there is
/// one.
int Handle::acceptPeer(std::chrono::milliseconds timeout) {
  const int listener = ::OBEX_GetFD(m_library);
  pollfd waiting{listener, POLLIN, 0};
  const int ready = poll(&waiting, 1, static_cast<int>(timeout.count()));
  if (ready == 0 || (ready < 0 && errno == EINTR)) return 0;
  if (ready < 0 || !letLibraryAccept(listener)) return broken("the peer could not be accepted");
  return admitPeer();
}

/// When `accept` fails the library says that it succeeded, loses its transport and crashes when it
/// is asked for its descriptor. A listener that was closed means success, so it is seen by that;
/// the number alone would not do, another thread may have taken it.
bool Handle::letLibraryAccept(int listener) {
  struct stat before {};
  struct stat after {};
  if (fstat(listener, &before) != 0 || !hasSelectableDescriptors()) return false;
  const int result = ::OBEX_HandleInput(m_library, 0);
  const bool stillOpen = fstat(listener, &after) == 0 && after.st_dev == before.st_dev &&
                         after.st_ino == before.st_ino;
  if (stillOpen) ::close(listener);  // the library no longer knows it
  return result >= 0 && !stillOpen;
}

int Handle::admitPeer() {
  const int accepted = ::OBEX_GetFD(m_library);
  auto guarded = std::make_unique<GuardedLink>(PacketGuard::Side::kServer);
  if (!isSelectable(accepted) || !guarded->open(accepted)) {
    return broken("there are no descriptors left");
  }
  m_link = std::move(guarded);
  bool admitted = true;
  if (RadioLinkAccess link; link) admitted = link->linkAccepted(peerAddress(m_link->radio()));
  return admitted ? 1 : broken("the peer is not let in");
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

/// A request of ours goes out with the first call after it was made.
int Handle::sendRequest() {
  const int result = ::OBEX_HandleInput(m_library, 0);
  if (m_broken || result < 0) return broken("the request could not be sent");
  return m_link->carryAnswers() ? 1 : broken(m_link->reason());
}

/// Lets the library work on a packet until it has read all of it and answered.
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
  return broken("the library refused a packet");
}

/// Ends the link for good and lets the callback know, once.
int Handle::broken(std::string reason) {
  const bool known = m_broken;
  m_broken = true;
  // What the peer still sends is no longer read, and it sees the end of the link.
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
    // Without an end of its body no server would see one.
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
  // Without an ABORT the library drops the request, says so by LINKERR, and would not survive the
  // peer's late answer.
  if (m_broken) endLink("given up");
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
    // The link itself is ended when the library has returned: it must not lose its other end.
    if (m_broken) return;
    m_broken = true;
  } else if (mode == OBEX_MODE_SERVER) {
    handleServerEvent(object, event, command, response);
    return;
  } else if (event == OBEX_EV_PARSEERR && command == OBEX_CMD_CONNECT) {
    // The library takes a refused CONNECT for an error of form; it is an answer.
    m_connectRefused = true;
    event = OBEX_EV_REQDONE;
    const int answer = m_link == nullptr ? -1 : m_link->lastReceived();
    response = answer == OBEX_RSP_SUCCESS ? static_cast<int>(OBEX_RSP_BAD_REQUEST) : answer;
  }
  call(object, mode, event, command, response);
}

void Handle::handleServerEvent(obex_object* object, int event, int command, int response) {
  if (event == OBEX_EV_REQHINT) {
    // Unless told otherwise the library refuses every request.
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

/// The answers that ask for the next packet are not told.
void Handle::tellAnswer() {
  if (!m_server || m_link->lastSent() < 0 || m_link->lastSent() == OBEX_RSP_CONTINUE) return;
  // One that is refused by its name was not told when its last packet came.
  if (m_link->guard().command() == OBEX_CMD_PUT) tellObject();
  m_objectTold = false;
  if (RadioLinkAccess link; link) link->linkAnswered(m_link->guard().command(), m_link->lastSent());
}

}  // namespace openobex
