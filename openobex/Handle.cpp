#include "openobex/Handle.h"

#include <bluetooth/rfcomm.h>
#include <openobex/obex.h>
#include <poll.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>

#include "framework/RadioLinkIfc.h"

namespace openobex {
namespace {

/// Packets of the largest size both ways: smaller ones cost time, and the library's receive buffer
/// must hold whatever a peer may send.
constexpr std::uint16_t kMaxPacket = 65535;
/// So often the library may be called for one packet; it needs a few, and a fault of its own must
/// not loop.
constexpr int kMaxSteps = 64;

/// The library waits with `select`, which knows no descriptors beyond its set.
bool isSelectable(int descriptor) { return descriptor >= 0 && descriptor < FD_SETSIZE; }

bool hasSelectableDescriptors() {
  const int next = ::dup(STDERR_FILENO);
  if (next < 0) return false;
  ::close(next);
  return isSelectable(next);
}

std::string addressText(const bdaddr_t& address) {
  std::array<char, 18> text{};
  std::snprintf(text.data(), text.size(), "%02X:%02X:%02X:%02X:%02X:%02X", address.b[5],
                address.b[4], address.b[3], address.b[2], address.b[1], address.b[0]);
  return text.data();
}

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
  obex_t* library = ::OBEX_Init(transport, &Handle::onEvent, flags);
  if (library == nullptr) return nullptr;
  std::unique_ptr<Handle> handle(new Handle(library, callback));
  ::OBEX_SetUserData(library, handle.get());
  ::OBEX_SetTransportMTU(library, kMaxPacket, kMaxPacket);
  return handle;
}

Handle::Handle(obex_t* library, EventCallback callback)
    : m_library(library), m_callback(callback), m_cursor(library) {}

Handle::~Handle() {
  const bool wasLinked = m_link != nullptr && !m_broken;
  ::OBEX_Cleanup(m_library);
  if (!m_server) return;
  if (RadioLinkAccess link; link) {
    if (wasLinked) link->linkClosed("the telephone ended it");
    link->linkStopped();
  }
}

int Handle::registerServer(const bdaddr_t* source, std::uint8_t channel) {
  if (!hasSelectableDescriptors()) return -1;
  // The library takes a missing address for the bytes that happen to lie there.
  const bdaddr_t any{};
  const int result = ::BtOBEX_ServerRegister(m_library, source == nullptr ? &any : source, channel);
  if (result < 0) return result;
  m_server = true;
  if (RadioLinkAccess link; link) link->linkListening(channel);
  return result;
}

int Handle::connect(const bdaddr_t* source, const bdaddr_t* destination, std::uint8_t channel) {
  if (m_link != nullptr || !hasSelectableDescriptors()) return -1;
  const bdaddr_t any{};
  const int result =
      ::BtOBEX_TransportConnect(m_library, source == nullptr ? &any : source, destination, channel);
  if (result < 0) return result;
  auto link = std::make_unique<GuardedLink>(PacketGuard::Side::kClient);
  if (!link->open(::OBEX_GetFD(m_library))) return -1;
  m_link = std::move(link);
  return result;
}

int Handle::handleInput(int timeout) {
  if (m_broken) return -1;
  if (m_link == nullptr) return m_server ? acceptPeer(timeout) : -1;
  if (::OBEX_GetDataDirection(m_library) == OBEX_DATA_OUT) return sendRequest();
  return receivePacket(timeout);
}

/// Waits for a peer on the listening descriptor, so that the library is called only when there is
/// one.
int Handle::acceptPeer(int timeout) {
  const int listener = ::OBEX_GetFD(m_library);
  pollfd waiting{listener, POLLIN, 0};
  const int ready = poll(&waiting, 1, timeout * 1000);
  if (ready == 0) return 0;
  if (ready < 0) return errno == EINTR ? 0 : broken("the listening socket failed");
  const int result = ::OBEX_HandleInput(m_library, 0);
  const int accepted = ::OBEX_GetFD(m_library);
  // After a peer that could not be accepted the library must not be called again.
  if (result < 0 || !isSelectable(accepted)) return broken("the peer could not be accepted");
  if (accepted == listener) return result;
  if (!admitPeer()) return -1;
  return 1;
}

bool Handle::admitPeer() {
  auto guarded = std::make_unique<GuardedLink>(PacketGuard::Side::kServer);
  if (!guarded->open(::OBEX_GetFD(m_library))) {
    broken("there are no descriptors left");
    return false;
  }
  m_link = std::move(guarded);
  bool admitted = true;
  if (RadioLinkAccess link; link) admitted = link->linkAccepted(peerAddress(m_link->radio()));
  if (!admitted) broken("the peer is not let in");
  return admitted;
}

int Handle::receivePacket(int timeout) {
  switch (m_link->receive(std::chrono::seconds(timeout))) {
    case GuardedLink::Result::kTimeOut:
      return 0;
    case GuardedLink::Result::kClosed:
      return broken(m_link->reason());
    case GuardedLink::Result::kPacket:
      break;
  }
  if (!m_link->handOver()) return broken("the packet could not be handed over");
  tellObject();
  return work();
}

/// A request of ours goes out with the first call after it was made.
int Handle::sendRequest() {
  const int result = ::OBEX_HandleInput(m_library, 0);
  if (!m_link->carryAnswers()) return broken(m_link->reason());
  return result < 0 ? broken("the request could not be sent") : 1;
}

/// Lets the library work on a packet until it has read all of it and answered.
int Handle::work() {
  m_connectRefused = false;
  for (int step = 0; step < kMaxSteps; ++step) {
    const int result = ::OBEX_HandleInput(m_library, 0);
    if (m_broken) return -1;
    if (!m_link->carryAnswers()) return broken(m_link->reason());
    if (result < 0 && !m_connectRefused) return broken("the library refused a packet");
    const bool writes = ::OBEX_GetDataDirection(m_library) == OBEX_DATA_OUT;
    if (!m_link->hasUnreadInput() && !(m_server && writes)) break;
  }
  tellAnswer();
  return 1;
}

int Handle::broken(const std::string& reason) {
  if (m_broken) return -1;
  m_broken = true;
  if (m_server && m_link != nullptr) {
    if (RadioLinkAccess link; link) link->linkClosed(reason);
  }
  // What the peer still sends is no longer read, and it sees the end of the link.
  m_link.reset();
  call(nullptr, m_server ? OBEX_MODE_SERVER : OBEX_MODE_CLIENT, OBEX_EV_LINKERR, 0, 0);
  return -1;
}

int Handle::request(obex_object* object) {
  if (m_broken) return -1;
  if (object == nullptr) return -1;
  if (m_openBody == object) {
    // Without an end of its body no server would see one.
    obex_headerdata_t nothing{};
    ::OBEX_ObjectAddHeader(m_library, object, OBEX_HDR_BODY_END, nothing, 0,
                           OBEX_FL_STREAM_DATAEND);
    m_openBody = nullptr;
  }
  return ::OBEX_Request(m_library, object);
}

int Handle::cancel(int nice) {
  if (m_broken) return -1;
  const int result = ::OBEX_CancelRequest(m_library, nice);
  // Without an ABORT the library drops the request and could not bear the peer's late answer.
  if (!nice) m_broken = true;
  return result;
}

void Handle::headerAdded(obex_object* object, std::uint8_t identifier, unsigned int flags) {
  if (identifier == OBEX_HDR_BODY && flags == 0) m_openBody = object;
  if (identifier == OBEX_HDR_BODY_END && m_openBody == object) m_openBody = nullptr;
}

void Handle::onEvent(obex_t* library, obex_object* object, int mode, int event, int command,
                     int response) {
  static_cast<Handle*>(::OBEX_GetUserData(library))
      ->handleEvent(object, mode, event, command, response);
}

void Handle::handleEvent(obex_object* object, int mode, int event, int command, int response) {
  const bool server = mode == OBEX_MODE_SERVER;
  if (event == OBEX_EV_LINKERR) {
    if (m_broken) return;
    m_broken = true;
  } else if (!server && event == OBEX_EV_PARSEERR && command == OBEX_CMD_CONNECT) {
    // The library takes a refused CONNECT for an error of form; it is an answer.
    m_connectRefused = true;
    event = OBEX_EV_REQDONE;
    response = m_link->lastReceived();
  } else if (server && event == OBEX_EV_REQHINT) {
    // Unless told otherwise the library refuses every request.
    ::OBEX_ObjectSetRsp(object, OBEX_RSP_CONTINUE, OBEX_RSP_SUCCESS);
    m_response = OBEX_RSP_CONTINUE;
    m_cursor.begin(command);
  } else if (server && event == OBEX_EV_REQCHECK) {
    m_cursor.beginCheck();
  } else if (server && event == OBEX_EV_REQ) {
    m_cursor.beginRequest();
  }
  call(object, mode, event, command, response);
  if (server && event == OBEX_EV_REQCHECK) {
    m_cursor.endCheck(object, m_response == OBEX_RSP_CONTINUE || m_response == OBEX_RSP_SUCCESS);
  } else if (server && event == OBEX_EV_REQ) {
    m_cursor.endRequest();
  }
}

void Handle::call(obex_object* object, int mode, int event, int command, int response) {
  Handle* const outer = currentHandle;
  currentHandle = this;
  m_callback(asVoid(), reinterpret_cast<void**>(object), mode, event, command, response);
  currentHandle = outer;
}

void Handle::tellObject() {
  const PacketGuard& guard = m_link->guard();
  if (!m_server || guard.command() != OBEX_CMD_PUT || !guard.isRequestComplete()) return;
  if (RadioLinkAccess link; link) link->linkObject(guard.objectName(), guard.bodySize());
}

void Handle::tellAnswer() {
  if (!m_server || m_link == nullptr || m_link->lastSent() == OBEX_RSP_CONTINUE) return;
  if (RadioLinkAccess link; link) link->linkAnswered(m_link->guard().command(), m_link->lastSent());
}

}  // namespace openobex
