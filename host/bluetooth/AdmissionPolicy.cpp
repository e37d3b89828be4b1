#include "host/bluetooth/AdmissionPolicy.h"

namespace host {

AdmissionPolicy::Decision AdmissionPolicy::decide(const Peer& peer) const {
  switch (peer.trust) {
    case Peer::TrustLevel::kBlocked:
      return {false, false, "blocked"};
    case Peer::TrustLevel::kTrusted:
      if (trusted == Trusted::kAccept) return {true, true, "trusted, its cards are accepted"};
      return {true, false, "trusted, its cards are asked about"};
    case Peer::TrustLevel::kStranger:
      if (strangers == Strangers::kRefuse)
        return {false, false, peer.paired ? "paired, but not trusted" : "a stranger"};
      return {true, false,
              peer.paired ? "paired, but not trusted: its cards are asked about"
                          : "a stranger, its cards are asked about"};
    case Peer::TrustLevel::kUnknown:
      break;
  }
  if (isDefault()) return {true, false, "unknown, its cards are asked about"};
  return {false, false, "BlueZ can't say who it is"};
}

}  // namespace host
