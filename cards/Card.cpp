#include "cards/Card.h"

#include <algorithm>

namespace cards {

bool setColumn(Card& card, std::string_view name, std::string_view value) {
  const auto* const column =
      std::find_if(kCardColumns.begin(), kCardColumns.end(),
                   [&](const CardColumn& candidate) { return candidate.name == name; });
  if (column == kCardColumns.end()) return false;
  card.*column->value = value;
  return true;
}

bool holdsAnything(const Card& card) {
  return std::any_of(kCardColumns.begin(), kCardColumns.end(), [&](const CardColumn& column) {
    const bool counts = column.value != &Card::id && column.value != &Card::group;
    return counts && !(card.*column.value).empty();
  });
}

}  // namespace cards
