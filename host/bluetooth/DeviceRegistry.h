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

/// Who may push cards to this phone, and whose are stored without a question. A plain value.
struct AdmissionPolicy {
  enum class Strangers { kAsk, kRefuse };
  enum class Trusted { kAsk, kAccept };

  Strangers strangers = Strangers::kAsk;
  Trusted trusted = Trusted::kAsk;

  struct Decision {
    bool admitted;
    bool accepted;       ///< its cards are to be stored without a question
    std::string reason;  ///< for the log, without the peer: "trusted, its cards are accepted"
  };

  /// Who is blocked is refused, whatever the policy says; so is, where a policy was set, everybody
  /// of whom BlueZ can't say who it is.
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
