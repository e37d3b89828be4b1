#pragma once

#include <string_view>

#include "cards/Card.h"

namespace cards {

/// The phonebook write message: the XML text as which the phone offers a card that has come in.
///
/// Threads: a plain value.
class PhoneBookMessage {
 public:
  /// Throws std::runtime_error with a sentence when the text is no such message. Elements that a
  /// card has no column for are passed over.
  static PhoneBookMessage parse(std::string_view xml);

  [[nodiscard]] const Card& card() const { return m_card; }

 private:
  explicit PhoneBookMessage(Card card) : m_card(std::move(card)) {}

  Card m_card;
};

}  // namespace cards
