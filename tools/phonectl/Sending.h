#pragma once

#include <optional>
#include <string>

#include "tools/contacts/Contact.h"
#include "tools/phonectl/PatientCall.h"
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
/// Threads: as PatientCall.
class Sending : private PhoneEvents {
 public:
  /// Subscribes.
  Sending(PhoneBus& bus, const StopSignals& signals);

  /// Makes this contact the one that the phone has pending, and waits until the phone asks where it
  /// is to go.
  void handOver(const contacts::Contact& contact);
  /// Sends what is pending, however it came there. Returns the contact's name as the phone tells
  /// it, not safe to show.
  std::string sendTo(const Destination& destination);

 private:
  /// What the phone told of the last attempt.
  struct Outcome {
    bool sent;
    std::string contact;
  };

  [[nodiscard]] Outcome attempt(const Destination& destination);

  void destinationWanted(const std::string& contact) override;
  void contactSent(const std::string& contact) override;
  void contactNotSent(const std::string& contact, const std::string& address) override;
  void cardOffered(const std::string&) override {}
  void cardsStored(const std::string&, long long) override {}
  void cardsNotStored(const std::string&, long long) override {}
  void cardUnreadable() override {}

  PhoneBus& m_bus;
  PatientCall m_patient;
  PhoneObserver m_observer;
  std::optional<std::string> m_wanted;  ///< the contact that a destination was last asked for
  std::optional<Outcome> m_outcome;
};

/// The name of a contact as a sentence may have it.
std::string shownContact(const std::string& contact);

}  // namespace phonectl
