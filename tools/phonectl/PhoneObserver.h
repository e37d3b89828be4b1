#pragma once

#include <giomm.h>

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

#include "cards/Card.h"
#include "tools/phonectl/Parameters.h"
#include "tools/phonectl/PhoneBus.h"

namespace phonectl {

/// The result of accepting all waiting cards.
struct Outcome {
  bool stored;                       ///< all of them were stored
  long long count;                   ///< how many cards were waiting
  std::optional<cards::Card> first;  ///< none if no card was waiting or its message is invalid

  /// `message` is the phonebook write message of the first card.
  Outcome(bool allStored, long long cardCount, const std::string& message);

  /// For people, safe to print: "2 cards stored, the first is Doe, John."
  [[nodiscard]] std::string sentence() const;
  /// {"event":"received","count":2,"first":{...}}; the event is "error" for a failure.
  [[nodiscard]] nlohmann::ordered_json json() const;
};

/// The card in a phonebook write message; none if the message is invalid.
std::optional<cards::Card> cardIn(const std::string& message);

/// The phone's notifications. Strings come from strangers and are not safe to print; a card comes
/// as a phonebook write message.
///
/// Threads: called from the default main loop.
class PhoneEvents {
 public:
  virtual ~PhoneEvents() = default;

  /// A card came in and waits for an answer.
  virtual void cardOffered(const std::string& /*message*/) {}
  /// All waiting cards were accepted; none is waiting any more.
  virtual void cardsAccepted(const Outcome& /*outcome*/) {}
  /// A pushed object was no readable card.
  virtual void cardUnreadable() {}
  /// A contact is to be sent and needs a destination.
  virtual void destinationWanted(const std::string& /*contact*/) {}
  virtual void contactSent(const std::string& /*contact*/) {}
  virtual void contactNotSent(const std::string& /*contact*/, const std::string& /*address*/) {}

 protected:
  PhoneEvents() = default;
  PhoneEvents(const PhoneEvents&) = default;
  PhoneEvents& operator=(const PhoneEvents&) = default;
};

/// The object on our own connection that receives the phone's notifications. Calls by anyone but
/// the phone are ignored, since every program on the bus could make them.
///
/// Threads: the one that runs the default main loop.
class PhoneObserver {
 public:
  /// Exports the object. `events` must outlive it. Throws Failure.
  PhoneObserver(PhoneBus& bus, PhoneEvents& events);
  ~PhoneObserver();
  PhoneObserver(const PhoneObserver&) = delete;
  PhoneObserver& operator=(const PhoneObserver&) = delete;

  /// Sets the phone's unique name; empty ignores everyone.
  void listenTo(const std::string& owner);

  /// The call that subscribes this process.
  static PhoneCall subscription();
  /// Throws Failure if the reply refuses the subscription.
  static void checkSubscription(const Glib::VariantContainerBase& answer);

 private:
  void onCall(const Glib::ustring& sender, const Glib::ustring& member,
              const Glib::VariantContainerBase& body);
  void onSent(const std::string& contact);

  PhoneBus& m_bus;
  PhoneEvents& m_events;
  std::string m_owner;
  bool m_sentAnnounced = false;
  Gio::DBus::InterfaceVTable m_table;
  unsigned m_registration = 0;
};

}  // namespace phonectl
