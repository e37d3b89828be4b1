#include "host/bluetooth/DeviceRegistry.h"

#include <utility>

#include "host/bluetooth/Address.h"

namespace host {
namespace {

using TrustLevel = Peer::TrustLevel;

/// When entries of one device disagree, the most severe wins.
int severity(TrustLevel trust) {
  switch (trust) {
    case TrustLevel::kBlocked:
      return 3;
    case TrustLevel::kUnknown:
      return 2;
    case TrustLevel::kStranger:
      return 1;
    case TrustLevel::kTrusted:
      return 0;
  }
  return 2;
}

}  // namespace

const char* Peer::word() const {
  switch (trust) {
    case TrustLevel::kBlocked:
      return "blocked";
    case TrustLevel::kTrusted:
      return "trusted";
    case TrustLevel::kStranger:
      return "stranger";
    case TrustLevel::kUnknown:
      break;
  }
  return "unknown";
}

// Trust requires pairing: anyone can claim an address, only a paired device has the link key.
Peer DeviceRegistry::peerOf(const DeviceFacts& device) {
  Peer peer;
  peer.name = device.name;
  peer.paired = device.paired;
  if (device.blocked) {
    peer.trust = TrustLevel::kBlocked;
  } else if (!device.judged) {
    peer.trust = TrustLevel::kUnknown;
  } else {
    peer.trust = device.paired && device.trusted ? TrustLevel::kTrusted : TrustLevel::kStranger;
  }
  return peer;
}

Peer DeviceRegistry::join(const Peer& one, const Peer& other) {
  Peer joined = severity(one.trust) >= severity(other.trust) ? one : other;
  if (joined.name.empty()) joined.name = one.name.empty() ? other.name : one.name;
  joined.paired = one.paired && other.paired;
  return joined;
}

void DeviceRegistry::update(const BluezObjects& objects, bool known) {
  if (!known) {
    // Keeps the entries: blocked devices stay blocked.
    const std::lock_guard lock(m_mutex);
    m_known = false;
    return;
  }
  std::map<std::string, Peer> peers;
  for (const auto& [path, device] : objects.devices()) {
    if (device.address.empty()) continue;
    const Peer peer = peerOf(device);
    const auto [entry, isNew] = peers.try_emplace(device.address, peer);
    if (!isNew) entry->second = join(entry->second, peer);
  }
  const std::lock_guard lock(m_mutex);
  m_peers = std::move(peers);
  m_known = objects.complete();
}

bool DeviceRegistry::known() const {
  const std::lock_guard lock(m_mutex);
  return m_known;
}

Peer DeviceRegistry::find(const std::string& address) const {
  const std::string normal = normalAddress(address);
  const std::lock_guard lock(m_mutex);
  const auto found = m_peers.find(normal);
  if (found != m_peers.end()) {
    Peer peer = found->second;
    if (!m_known && peer.trust != TrustLevel::kBlocked) peer.trust = TrustLevel::kUnknown;
    return peer;
  }
  Peer peer;
  // BlueZ keeps every device that was paired, trusted or blocked.
  if (m_known && !normal.empty()) peer.trust = TrustLevel::kStranger;
  return peer;
}

AdmissionPolicy::Decision AdmissionPolicy::decide(const Peer& peer) const {
  switch (peer.trust) {
    case Peer::TrustLevel::kBlocked:
      return {false, false, "blocked"};
    case Peer::TrustLevel::kTrusted:
      if (trusted == Trusted::kAccept)
        return {true, true, "trusted; cards are stored without asking"};
      return {true, false, "trusted; the user is asked"};
    case Peer::TrustLevel::kStranger:
      if (strangers == Strangers::kRefuse)
        return {false, false, peer.paired ? "paired but not trusted" : "a stranger"};
      return {true, false,
              peer.paired ? "paired but not trusted; the user is asked"
                          : "a stranger; the user is asked"};
    case Peer::TrustLevel::kUnknown:
      break;
  }
  if (isDefault()) return {true, false, "unknown; the user is asked"};
  return {false, false, "BlueZ can't tell whether it is trusted"};
}

}  // namespace host
