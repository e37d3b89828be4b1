#pragma once

#include <optional>
#include <string>

#include "src/OBEXStorage.h"

namespace contacts {

/// How the phone's own reader understands a card. A plain value.
struct CardReading {
  std::optional<std::string> message{};  ///< the phonebook write message; none: it can't be read
  std::string reason{};                  ///< why not: half a sentence, safe to show
  int cutTexts = 0;  ///< how many texts end at a character that the phone can't keep
};

/// Reads a card with a reader of its own, as the phone does when a card comes in. What it has for
/// pictures goes to `pictures`.
///
/// Threads: main only, since the log's level is changed meanwhile.
CardReading readCard(const std::string& text, OBEXStorage& pictures);

}  // namespace contacts
