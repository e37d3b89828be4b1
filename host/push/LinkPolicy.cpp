#include "host/push/LinkPolicy.h"

#include <bluetooth/bluetooth.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <exception>
#include <system_error>
#include <utility>

#include "host/loader/HostLog.h"

namespace host {
namespace {

std::string displayName(const std::string& address, const Peer& peer) {
  const std::string who = address.empty() ? "a peer without an address" : address;
  return peer.name.empty() ? who : who + " (" + peer.name + ")";
}

}  // namespace

LinkPolicy::LinkPolicy(const Options& options, const DeviceRegistry& peers, PushTracker& tracker,
                       OnListening onListening, std::function<void()> onLinkEnd)
    : m_options(options),
      m_peers(peers),
      m_tracker(tracker),
      m_onListening(std::move(onListening)),
      m_onLinkEnd(std::move(onLinkEnd)) {}

LinkPolicy::State LinkPolicy::state() const {
  const std::lock_guard lock(m_mutex);
  return m_state;
}

std::shared_ptr<void> LinkPolicy::switchOff() {
  ++m_switchingOff;
  return {nullptr, [this](void*) {
            {
              const std::lock_guard lock(m_mutex);
              m_state.listenError.clear();
              m_listenErrno = 0;
            }
            --m_switchingOff;
          }};
}

void LinkPolicy::setListening(int channel) {
  {
    const std::lock_guard lock(m_mutex);
    m_state.listening = channel != 0;
    m_state.channel = channel;
    if (channel != 0) {
      m_state.listenError.clear();
      m_listenErrno = 0;
    }
  }
  m_onListening(channel);
}

void LinkPolicy::linkListening(int channel) { setListening(channel); }

void LinkPolicy::linkStopped() { setListening(0); }

void LinkPolicy::listenFailed(int channel, int error) {
  const std::lock_guard lock(m_mutex);
  // The server retries many times a second: only a new error is worth a line.
  if (error == m_listenErrno) return;
  m_listenErrno = error;
  const std::string name = "RFCOMM channel " + std::to_string(channel);
  m_state.listenError = error == EADDRINUSE ? name + " is taken by another program"
                                            : "can't listen on " + name + ": " +
                                                  std::generic_category().message(error);
  HOST_LOG_ERROR("%s", m_state.listenError.c_str());
}

bool LinkPolicy::linkAccepted(const std::string& address) {
  try {
    return decide(address);
  } catch (const std::exception& error) {
    HOST_LOG_ERROR("refused a peer because of an error: %s", error.what());
    return false;
  }
}

AdmissionPolicy::Decision LinkPolicy::admit(const std::string& address, const Peer& peer) {
  AdmissionPolicy::Decision decision = m_options.admission.decide(peer);
  // Storing a batch stores every waiting card, so no other device may add one to it.
  if (decision.admitted && !m_tracker.admit(address, peer.name, decision.accepted))
    decision = {false, false, "cards of a trusted device are just being stored; it may try again"};
  if (!decision.admitted) m_tracker.refused(address, peer.name, decision.reason);
  return decision;
}

bool LinkPolicy::decide(const std::string& address) {
  const Peer peer = m_peers.find(address);
  const AdmissionPolicy::Decision decision = admit(address, peer);
  const std::string line = displayName(address, peer) +
                           (decision.admitted ? " is let in: " : " is refused: ") + decision.reason;
  HOST_LOG_INFO("%s", line.c_str());
  const std::lock_guard lock(m_mutex);
  m_state.peer = address;
  m_state.lastPeer = address;
  m_state.peerName = peer.name;
  m_state.peerTrust = peer.word();
  m_state.lastDecision = line;
  return decision.admitted;
}

void LinkPolicy::linkObject(const std::string& name, std::size_t size) {
  m_tracker.object(name, size);
  const std::lock_guard lock(m_mutex);
  m_state.lastObject = name;
  m_state.lastSize = size;
  ++m_state.objects;
}

void LinkPolicy::linkAnswered(int command, int response) {
  m_tracker.answered(command, response);
  const std::lock_guard lock(m_mutex);
  m_state.lastAnswer = response;
}

void LinkPolicy::linkClosed(const std::string& reason) {
  m_tracker.closed(reason);
  {
    const std::lock_guard lock(m_mutex);
    m_state.peer.clear();
    m_state.peerName.clear();
    m_state.peerTrust.clear();
    m_state.lastLinkEnd = reason;
  }
  m_onLinkEnd();
}

bool LinkPolicy::linkForbidden() {
  // Receivers that forbid CONNECT because of Who use BlueZ's obexd, so without BlueZ here a refusal
  // is taken at its word.
  const bool retry = m_options.retryForbidden && m_peers.known();
  if (!m_forbiddenLogged.exchange(true))
    HOST_LOG_INFO("a receiver answered CONNECT with Forbidden; %s",
                  retry ? "sending it again without the Who header" : "not sending it again");
  return retry;
}

std::string describeRadio() {
  const int socket = ::socket(AF_BLUETOOTH, SOCK_STREAM | SOCK_CLOEXEC, BTPROTO_RFCOMM);
  if (socket >= 0) {
    close(socket);
    return "ready";
  }
  const std::string reason = std::generic_category().message(errno);
  switch (errno) {
    case EAFNOSUPPORT:
      return "there is no Bluetooth on this machine: the kernel doesn't support it (" + reason +
             ")";
    case EPROTONOSUPPORT:
      return "there is no Bluetooth RFCOMM on this machine: the kernel module rfcomm is missing (" +
             reason + ")";
    default:
      return "can't open a Bluetooth socket: " + reason;
  }
}

}  // namespace host
