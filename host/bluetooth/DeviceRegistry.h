#pragma once

#include <map>
#include <mutex>
#include <string>

#include "host/bluetooth/BluezObjects.h"

namespace host {

/// What is known of a peer.
struct Peer {
  /// In the order in which they outweigh each other.
  enum class TrustLevel {
    kBlocked,
    kTrusted,   ///< paired, and trusted by the user
    kStranger,  ///< anybody else
    kUnknown,   ///< BlueZ is not there to say, or has not said it
  };

  TrustLevel trust = TrustLevel::kUnknown;
  bool paired = false;
  std::string name;  ///< not safe to show

  [[nodiscard]] const char* word() const;
};

/// BlueZ's devices by address, for the threads that may not wait for BlueZ.
///
/// Threads: any.
class DeviceRegistry {
 public:
  /// In place of what was here. With `known` false, BlueZ can't be asked at present, and nobody but
  /// those whom it had blocked is known.
  void update(const BluezObjects& objects, bool known);

  /// Whether BlueZ can be asked at present.
  [[nodiscard]] bool known() const;

  /// A device that several adapters have met is as trusted as the least trusted of its entries.
  [[nodiscard]] Peer find(const std::string& address) const;

  /// As `find`, of several entries of one address.
  static Peer join(const Peer& one, const Peer& other);
  static Peer peerOf(const DeviceFacts& device);

 private:
  mutable std::mutex m_mutex;
  // Guarded by m_mutex:
  std::map<std::string, Peer> m_peers;
  bool m_known = false;
};

}  // namespace host
