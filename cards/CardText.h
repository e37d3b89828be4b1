#pragma once

#include <string>
#include <vector>

#include "cards/Card.h"

namespace cards {

// How a card is shown to people. Everything returned is safe to show on a terminal, and values
// longer than kMaxShown characters are cut, with a note. Stateless: any thread.

inline constexpr std::size_t kMaxShown = 200;

/// "Doe, John"; the company for a card without a name; "(no name)".
std::string displayName(const Card& card);

/// The components of a structured value (an address, a company with its departments), which are
/// divided by semicolons, as people write them: divided by commas, without empty ones.
std::string displayComponents(const std::string& value);

/// The card as lines of a label and a value: name, numbers with the default marked, and whatever
/// else it holds. The photo is shown as a path in `imagesFolder`.
std::vector<std::string> cardLines(const Card& card, const std::string& imagesFolder);

}  // namespace cards
