#pragma once

#include <string>

namespace phonectl {

/// What the phone tells those who have subscribed. Texts are as the phone sent them: not safe to
/// show. A card travels as the phonebook write message.
///
/// Threads: called from the default main loop.
class PhoneEvents {
 public:
  virtual ~PhoneEvents() = default;

  /// A card has come in and waits for an answer.
  virtual void cardOffered(const std::string& message) = 0;
  /// All `count` cards that waited are in the phonebook; empty text when there were none.
  virtual void cardsStored(const std::string& firstMessage, long long count) = 0;
  /// Not all of the `count` cards that waited could be stored. None waits any more.
  virtual void cardsNotStored(const std::string& firstMessage, long long count) = 0;
  /// Something was pushed that is no card.
  virtual void cardUnreadable() = 0;
  /// A contact is to be sent: where to?
  virtual void destinationWanted(const std::string& contact) = 0;
  virtual void contactSent(const std::string& contact) = 0;
  virtual void contactNotSent(const std::string& contact, const std::string& address) = 0;

 protected:
  PhoneEvents() = default;
  PhoneEvents(const PhoneEvents&) = default;
  PhoneEvents& operator=(const PhoneEvents&) = default;
};

}  // namespace phonectl
