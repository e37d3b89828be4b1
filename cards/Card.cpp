#include "cards/Card.h"

#include <nlohmann/json.hpp>
#include <pugixml.hpp>
#include <stdexcept>

#include "cards/SafeText.h"

namespace cards {

namespace {

constexpr std::size_t kLabelWidth = 11;

// Values are kept byte for byte: no trimming, no end-of-line normalization.
constexpr unsigned kParseFlags = pugi::parse_escapes | pugi::parse_ws_pcdata_single;

[[noreturn]] void rejectMessage(const std::string& why) {
  throw std::runtime_error("not a phonebook message: " + why);
}

std::string labelled(std::string label, const std::string& shown) {
  label.resize(kLabelWidth, ' ');
  return label + shown;
}

}  // namespace

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

Card cardFromMessage(std::string_view xml) {
  pugi::xml_document document;
  const pugi::xml_parse_result result =
      document.load_buffer(xml.data(), xml.size(), kParseFlags, pugi::encoding_utf8);
  if (!result) rejectMessage(result.description());
  const pugi::xml_node schema = document.child("Schema");
  if (std::string_view(schema.attribute("name").value()) != "PhoneBook") {
    rejectMessage("it is for another service");
  }
  const pugi::xml_node entry = schema.child("Entry");
  if (entry.empty()) rejectMessage("it has no entry");
  Card card;
  for (const pugi::xml_node field : entry.children()) {
    setColumn(card, field.name(), field.child_value());
  }
  card.id.clear();
  return card;
}

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
  std::vector<std::string> lines{labelled("name", displayName(card))};
  const auto add = [&lines](Column column, const std::string& shown) {
    if (!shown.empty()) lines.push_back(labelled(cardColumn(column).label, shown));
  };
  for (const CardColumn& number : kCardNumbers) {
    const std::string& value = card.*number.value;
    const bool isDefault = !value.empty() && card.defaultNumber == number.digit;
    add(number.column, safeText(value, kMaxShown) + (isDefault ? "  (default)" : ""));
  }
  add(Column::kEmail, safeText(card.email, kMaxShown));
  add(Column::kCompany, displayComponents(card.company));
  add(Column::kJobFunction, safeText(card.jobFunction, kMaxShown));
  add(Column::kAddress, displayComponents(card.address));
  add(Column::kAddress2, displayComponents(card.address2));
  if (!card.picture.empty()) {
    add(Column::kPicture, safeText(imagesFolder + "/" + card.picture, kMaxShown));
  }
  return lines;
}

nlohmann::ordered_json cardJson(const Card& card) {
  nlohmann::ordered_json json = nlohmann::ordered_json::object();
  for (const CardColumn& column : kCardColumns) {
    const std::string& value = card.*column.value;
    if (column.value != &Card::id || !value.empty()) json[column.name] = value;
  }
  return json;
}

std::string jsonLine(const nlohmann::ordered_json& json) {
  return safeJson(json.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace));
}

}  // namespace cards
