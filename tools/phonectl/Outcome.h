#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "cards/Card.h"

namespace phonectl {

/// How an acceptance went. A plain value.
struct Outcome {
  bool stored;                       ///< all of them
  long long count;                   ///< how many cards waited
  std::optional<cards::Card> first;  ///< none when no card waited, or the phone's text is no card

  /// `message` is the phonebook write message of the first card, as the phone sent it.
  Outcome(bool allStored, long long cardCount, const std::string& message);

  /// A sentence for people, safe to show: "2 cards stored, the first is Doe, John".
  [[nodiscard]] std::string sentence() const;
  /// `{"event":"received","count":2,"first":{...}}`; the event is "error" for a failure.
  [[nodiscard]] nlohmann::ordered_json json() const;
};

/// The card in a phonebook write message, none when the text is no such message.
std::optional<cards::Card> cardIn(const std::string& message);

}  // namespace phonectl
