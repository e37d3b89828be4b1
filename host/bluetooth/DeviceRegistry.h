#pragma once

#include <map>
#include <mutex>
#include <string>

#include "host/bluetooth/BluezObjects.h"

namespace host {

/// What is known about another device.
struct Peer {
  /// The first that applies counts.
  enum class TrustLevel {
    kBlocked,
    kTrusted,   ///< paired, and trusted by the user
    kStranger,  ///< any other device
    kUnknown,   ///< BlueZ doesn't run or has not reported it
  };

  TrustLevel trust = TrustLevel::kUnknown;
  bool paired = false;
  std::string name;  ///< not safe to show

  [[nodiscard]] const char* word() const;
};

/// BlueZ's devices by address, for threads that may not wait for BlueZ.
///
/// Threads: any.
class DeviceRegistry {
 public:
  /// Replaces the contents. With `known` false, BlueZ can't be asked at present: blocked devices
  /// stay blocked, all others become unknown.
  void update(const BluezObjects& objects, bool known);

  /// Whether BlueZ can be asked at present.
  [[nodiscard]] bool known() const;

  /// A device that several adapters know is as trusted as the least trusted of its entries.
  [[nodiscard]] Peer find(const std::string& address) const;

  /// Joins two entries of one address, as `find` does.
  static Peer join(const Peer& one, const Peer& other);
  static Peer peerOf(const DeviceFacts& device);

 private:
  mutable std::mutex m_mutex;
  // Guarded by m_mutex:
  std::map<std::string, Peer> m_peers;
  bool m_known = false;
};

/// Which devices may push cards, and whose cards are stored without asking the user. A plain value.
struct AdmissionPolicy {
  enum class Strangers { kAsk, kRefuse };
  enum class Trusted { kAsk, kAccept };

  Strangers strangers = Strangers::kAsk;
  Trusted trusted = Trusted::kAsk;

  struct Decision {
    bool admitted;
    bool accepted;       ///< its cards are stored without asking
    std::string reason;  ///< for the log, without naming the peer: "a stranger"
  };

  /// Blocked devices are always refused. With any policy but the default, so are devices of unknown
  /// trust.
  [[nodiscard]] Decision decide(const Peer& peer) const;

  [[nodiscard]] bool isDefault() const {
    return strangers == Strangers::kAsk && trusted == Trusted::kAsk;
  }
  [[nodiscard]] const char* strangersWord() const {
    return strangers == Strangers::kAsk ? "ask" : "refuse";
  }
  [[nodiscard]] const char* trustedWord() const {
    return trusted == Trusted::kAsk ? "ask" : "accept";
  }
};

}  // namespace host
