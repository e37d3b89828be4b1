#pragma once

#include <optional>
#include <string>

#include "cards/Contact.h"
#include "tools/phonectl/BlockingCall.h"
#include "tools/phonectl/PhoneEvents.h"
#include "tools/phonectl/PhoneObserver.h"

namespace phonectl {

/// A device that a contact is sent to.
struct Destination {
  std::string address;  ///< "66:77:88:99:AA:BB"
  int channel;          ///< RFCOMM, 1 to 30

  /// For sentences.
  [[nodiscard]] std::string shown() const;
};

/// The sending of one contact, from its hand-over to the outcome, as an observer of the phone. All
/// errors come as Failure, whose sentence says what has become of the contact.
///
/// Threads: as BlockingCall.
class Sending : private PhoneEvents {
 public:
  /// Subscribes.
  Sending(PhoneBus& bus, const StopSignals& signals);

  /// Makes this contact the one that the phone has pending, and waits until the phone asks where it
  /// is to go.
  void handOver(const contacts::Contact& contact);
  /// Sends what is pending: what was handed over, or what was there before. Returns the contact's
  /// name as the phone tells it, not safe to show. When somebody else hands a contact over
  /// meanwhile, the phone sends that one, which is a Failure.
  std::string sendTo(const Destination& destination);

 private:
  /// What the phone told of the last attempt.
  struct Outcome {
    bool sent;
    std::string contact;
    bool replaced;  ///< it is about another contact than the one that was handed over
  };

  [[nodiscard]] Outcome attempt(const Destination& destination);

  void destinationWanted(const std::string& contact) override;
  void contactSent(const std::string& contact) override;
  void contactNotSent(const std::string& contact, const std::string& address) override;
  void cardOffered(const std::string&) override {}
  void cardsStored(const std::string&, long long) override {}
  void cardsNotStored(const std::string&, long long) override {}
  void cardUnreadable() override {}

  void takeOutcome(bool sent, const std::string& contact);

  PhoneBus& m_bus;
  BlockingCall m_patient;
  PhoneObserver m_observer;
  std::optional<std::string> m_handedOver;  ///< the name that the phone tells for our contact
  bool m_handingOver = false;
  bool m_replaced = false;  ///< since then somebody else has handed a contact over
  std::optional<Outcome> m_outcome;
};

/// The name of a contact as a sentence may have it.
std::string shownContact(const std::string& contact);

}  // namespace phonectl
