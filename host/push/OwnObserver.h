#pragma once

#include "framework/Method.h"
#include "framework/ProxyRequest.h"
#include "host/push/PushLedger.h"

namespace host {

/// The messages by which cards are offered and answered. Of all that a service may have, these are
/// what the host itself takes part in: it keeps a journal and may answer for the user.
namespace cardmessage {
inline constexpr const char* kSubscribe = "subscribeEvent";
inline constexpr const char* kOffered = "vCardAcceptEvent";
inline constexpr const char* kError = "vCardErrorEvent";
inline constexpr const char* kAccepted = "vCardsAcceptedEvent";
inline constexpr const char* kRejected = "vCardsRejectedEvent";
}  // namespace cardmessage

/// The host as an observer of its own service: tells the ledger of the cards that are offered.
///
/// Threads: any. The ledger must outlive it.
class OwnObserver : public ProxyRequest {
 public:
  explicit OwnObserver(PushLedger& ledger) : m_ledger(ledger) {}

  bool send(const Method& method) override;

 private:
  PushLedger& m_ledger;
};

}  // namespace host
