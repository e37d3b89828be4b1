#include "cards/Card.h"

namespace cards {

std::optional<Column> columnNamed(std::string_view name) {
  const auto* const column =
      std::find_if(kCardColumns.begin(), kCardColumns.end(),
                   [&](const CardColumn& candidate) { return candidate.name == name; });
  if (column == kCardColumns.end()) return std::nullopt;
  return column->column;
}

bool setColumn(Card& card, std::string_view name, std::string_view value) {
  const auto column = columnNamed(name);
  if (column) card.*cardColumn(*column).value = value;
  return column.has_value();
}

bool holdsAnything(const Card& card) {
  return std::any_of(kCardColumns.begin(), kCardColumns.end(), [&](const CardColumn& column) {
    const bool counts = column.value != &Card::id && column.value != &Card::group;
    return counts && !(card.*column.value).empty();
  });
}

}  // namespace cards
