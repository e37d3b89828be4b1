#include "tools/phonectl/CardTable.h"

#include <algorithm>
#include <array>

#include "cards/CardText.h"
#include "cards/SafeText.h"

namespace phonectl {

namespace {

constexpr std::size_t kMaxNumberShown = 40;
constexpr const char* kGap = "  ";

using Row = std::array<std::string, 3>;

std::string numbersOf(const cards::Card& card) {
  std::string shown;
  for (const cards::CardColumn& number : cards::kCardNumbers) {
    const std::string& value = card.*number.value;
    if (value.empty()) continue;
    shown += shown.empty() ? "" : ", ";
    shown += std::string(number.label) + " " + cards::safeText(value, kMaxNumberShown);
    if (card.defaultNumber == number.digit) shown += "*";
  }
  return shown;
}

std::string padded(const std::string& safe, std::size_t width) {
  const std::size_t taken = cards::displayWidth(safe);
  return safe + std::string(width > taken ? width - taken : 0, ' ');
}

}  // namespace

std::vector<std::string> cardTable(const std::vector<cards::Card>& cards) {
  std::vector<Row> rows{{"ID", "NAME", "NUMBERS"}};
  for (const cards::Card& card : cards) {
    rows.push_back({cards::safeText(card.id), cards::displayName(card), numbersOf(card)});
  }
  std::size_t idWidth = 0;
  std::size_t nameWidth = 0;
  for (const Row& row : rows) {
    idWidth = std::max(idWidth, cards::displayWidth(row[0]));
    nameWidth = std::max(nameWidth, cards::displayWidth(row[1]));
  }
  std::vector<std::string> lines;
  for (const Row& row : rows) {
    std::string line = padded(row[0], idWidth) + kGap + padded(row[1], nameWidth) + kGap + row[2];
    line.erase(line.find_last_not_of(' ') + 1);
    lines.push_back(line);
  }
  return lines;
}

}  // namespace phonectl
