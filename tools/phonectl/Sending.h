#pragma once

#include <optional>
#include <string>

#include "cards/Contact.h"
#include "tools/phonectl/BlockingCall.h"
#include "tools/phonectl/PhoneObserver.h"

namespace phonectl {

struct Destination {
  std::string address;  ///< "66:77:88:99:AA:BB"
  int channel;          ///< RFCOMM, 1 to 30

  [[nodiscard]] std::string shown() const;
};

/// Sends one contact and follows its outcome as an observer of the phone. Errors are Failure; their
/// message says what became of the contact.
///
/// Threads: as BlockingCall.
class Sending : private PhoneEvents {
 public:
  /// Subscribes.
  Sending(PhoneBus& bus, const StopSignals& signals);

  /// Makes `contact` the phone's pending contact; returns once the phone asks for its destination.
  void handOver(const cards::Contact& contact);
  /// Sends the pending contact, ours or an earlier one, and returns its name as the phone reports
  /// it, not safe to print. Fails if another program has replaced the contact since handOver(): the
  /// phone then sends that one.
  std::string sendTo(const Destination& destination);

 private:
  /// What the phone reported of the latest attempt.
  struct Outcome {
    bool sent;
    std::string contact;
    bool replaced;  ///< it was another contact than ours
  };

  [[nodiscard]] Outcome attempt(const Destination& destination);

  void destinationWanted(const std::string& contact) override;
  void contactSent(const std::string& contact) override;
  void contactNotSent(const std::string& contact, const std::string& address) override;
  void takeOutcome(bool sent, const std::string& contact);

  PhoneBus& m_bus;
  BlockingCall m_call;
  PhoneObserver m_observer;
  std::optional<std::string> m_handedOver;  ///< the phone's name for our contact
  bool m_handingOver = false;
  bool m_replaced = false;  ///< by another program, since handOver()
  std::optional<Outcome> m_outcome;
};

/// A contact's name for messages, safe to print.
std::string shownContact(const std::string& contact);

}  // namespace phonectl
