#include "host/bluetooth/PeerBook.h"

#include <utility>

namespace host {
namespace {

using Standing = Peer::Standing;

/// How little is to be let in by it.
int severity(Standing standing) {
  switch (standing) {
    case Standing::kBlocked:
      return 3;
    case Standing::kUnknown:
      return 2;
    case Standing::kStranger:
      return 1;
    case Standing::kTrusted:
      return 0;
  }
  return 2;
}

}  // namespace

const char* Peer::word() const {
  switch (standing) {
    case Standing::kBlocked:
      return "blocked";
    case Standing::kTrusted:
      return "trusted";
    case Standing::kStranger:
      return "stranger";
    case Standing::kUnknown:
      break;
  }
  return "unknown";
}

// An address alone proves nothing, anyone can claim it. Only with a paired device there is a key.
Peer PeerBook::peerOf(const DeviceFacts& device) {
  Peer peer;
  peer.name = device.name;
  peer.paired = device.paired;
  if (device.blocked) {
    peer.standing = Standing::kBlocked;
  } else if (!device.judged) {
    peer.standing = Standing::kUnknown;
  } else {
    peer.standing = device.paired && device.trusted ? Standing::kTrusted : Standing::kStranger;
  }
  return peer;
}

Peer PeerBook::join(const Peer& one, const Peer& other) {
  Peer joined = severity(one.standing) >= severity(other.standing) ? one : other;
  if (joined.name.empty()) joined.name = one.name.empty() ? other.name : one.name;
  joined.paired = one.paired && other.paired;
  return joined;
}

void PeerBook::update(const BluezObjects& objects, bool known) {
  if (!known) {
    // Who was blocked is so until something else is known.
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

bool PeerBook::known() const {
  const std::lock_guard lock(m_mutex);
  return m_known;
}

Peer PeerBook::find(const std::string& address) const {
  const std::string normal = normalAddress(address);
  const std::lock_guard lock(m_mutex);
  const auto found = m_peers.find(normal);
  if (found != m_peers.end()) {
    Peer peer = found->second;
    if (!m_known && peer.standing != Standing::kBlocked) peer.standing = Standing::kUnknown;
    return peer;
  }
  Peer peer;
  // BlueZ keeps every device that it was told something about: this one it wasn't.
  if (m_known && !normal.empty()) peer.standing = Standing::kStranger;
  return peer;
}

}  // namespace host
