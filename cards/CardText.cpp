#include "cards/CardText.h"

#include "cards/SafeText.h"

namespace cards {

namespace {

constexpr std::size_t kLabelWidth = 11;

std::string line(std::string label, const std::string& shown) {
  label.resize(kLabelWidth, ' ');
  return label + shown;
}

void addNumbers(const Card& card, std::vector<std::string>& lines) {
  for (const CardColumn& number : kCardNumbers) {
    const std::string& value = card.*number.value;
    if (value.empty()) continue;
    const char* const mark = card.defaultNumber == number.digit ? "  (default)" : "";
    lines.push_back(line(number.label, safeText(value, kMaxShown) + mark));
  }
}

void addIfAny(Column column, const std::string& shown, std::vector<std::string>& lines) {
  if (!shown.empty()) lines.push_back(line(cardColumn(column).label, shown));
}

}  // namespace

std::string displayName(const Card& card) {
  const char* const between = card.surname.empty() || card.firstname.empty() ? "" : ", ";
  std::string name =
      safeText(card.surname, kMaxShown) + between + safeText(card.firstname, kMaxShown);
  if (!name.empty()) return name;
  return card.company.empty() ? "(no name)" : displayComponents(card.company);
}

std::string displayComponents(const std::string& value) {
  std::string joined;
  std::size_t start = 0;
  while (start <= value.size()) {
    const std::size_t end = std::min(value.find(';', start), value.size());
    const std::string component = value.substr(start, end - start);
    if (!component.empty()) joined += (joined.empty() ? "" : ", ") + component;
    start = end + 1;
  }
  return safeText(joined, kMaxShown);
}

std::vector<std::string> cardLines(const Card& card, const std::string& imagesFolder) {
  std::vector<std::string> lines{line("name", displayName(card))};
  addNumbers(card, lines);
  addIfAny(Column::kEmail, safeText(card.email, kMaxShown), lines);
  addIfAny(Column::kCompany, displayComponents(card.company), lines);
  addIfAny(Column::kJobFunction, safeText(card.jobFunction, kMaxShown), lines);
  addIfAny(Column::kAddress, displayComponents(card.address), lines);
  addIfAny(Column::kAddress2, displayComponents(card.address2), lines);
  if (!card.picture.empty()) {
    lines.push_back(line(cardColumn(Column::kPicture).label,
                         safeText(imagesFolder + "/" + card.picture, kMaxShown)));
  }
  return lines;
}

}  // namespace cards
