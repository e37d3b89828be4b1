#pragma once

#include <string>

#include "host/bluetooth/DeviceRegistry.h"

namespace host {

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
