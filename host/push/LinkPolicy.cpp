#include "host/push/LinkPolicy.h"

#include <exception>
#include <utility>

#include "host/loader/HostLog.h"

namespace host {
namespace {

std::string shownPeer(const std::string& address, const Peer& peer) {
  const std::string who = address.empty() ? "a peer without an address" : address;
  return peer.name.empty() ? who : who + " (" + peer.name + ")";
}

}  // namespace

LinkPolicy::LinkPolicy(const AdmissionPolicy& policy, const DeviceRegistry& peers,
                       RadioStatus& status, PushLedger& ledger, OnListening onListening,
                       std::function<void()> onLinkEnd)
    : m_policy(policy),
      m_peers(peers),
      m_status(status),
      m_ledger(ledger),
      m_onListening(std::move(onListening)),
      m_onLinkEnd(std::move(onLinkEnd)) {}

LinkPolicy::State LinkPolicy::state() const {
  const std::lock_guard lock(m_mutex);
  return m_state;
}

void LinkPolicy::linkListening(int channel) {
  m_status.linkListening(channel);
  m_onListening(channel);
}

void LinkPolicy::linkStopped() {
  m_status.linkStopped();
  m_onListening(0);
}

bool LinkPolicy::linkAccepted(const std::string& address) {
  try {
    m_status.linkAccepted(address);
    return decide(address);
  } catch (const std::exception& error) {
    HOST_LOG_ERROR("a peer is refused, since nothing could be decided: %s", error.what());
    return false;
  }
}

AdmissionPolicy::Decision LinkPolicy::enter(const std::string& address, const Peer& peer) {
  AdmissionPolicy::Decision decision = m_policy.decide(peer);
  // An acceptance stores all that waits: nothing of somebody else's may come in between.
  if (decision.admitted && !m_ledger.admit(address, peer.name, decision.accepted))
    decision = {false, false, "cards of a trusted device are just being stored; it may try again"};
  if (!decision.admitted) m_ledger.refused(address, peer.name, decision.reason);
  return decision;
}

bool LinkPolicy::decide(const std::string& address) {
  const Peer peer = m_peers.find(address);
  const AdmissionPolicy::Decision decision = enter(address, peer);
  const std::string sentence = shownPeer(address, peer) +
                               (decision.admitted ? " is let in: " : " is refused: ") +
                               decision.reason;
  HOST_LOG_ERROR("%s", sentence.c_str());
  const std::lock_guard lock(m_mutex);
  m_state.peerName = peer.name;
  m_state.peerStanding = peer.word();
  m_state.lastDecision = sentence;
  return decision.admitted;
}

void LinkPolicy::linkObject(const std::string& name, std::size_t size) {
  m_status.linkObject(name, size);
  m_ledger.object(name, size);
}

void LinkPolicy::linkAnswered(int command, int response) {
  m_status.linkAnswered(command, response);
  m_ledger.answered(command, response);
}

void LinkPolicy::linkClosed(const std::string& reason) {
  m_status.linkClosed(reason);
  m_ledger.closed(reason);
  {
    const std::lock_guard lock(m_mutex);
    m_state.peerName.clear();
    m_state.peerStanding.clear();
  }
  m_onLinkEnd();
}

/// The receivers that refuse the name are those of BlueZ's own obexd, so they are met where there
/// is BlueZ. Elsewhere, a refusal is one.
bool LinkPolicy::linkForbidden() { return m_peers.known(); }

}  // namespace host
