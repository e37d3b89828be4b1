#include "cards/PhoneBookMessage.h"

#include <pugixml.hpp>
#include <stdexcept>
#include <string>
#include <utility>

namespace cards {

namespace {

// Values are taken as they stand: nothing is trimmed, and no line end is changed.
constexpr unsigned kParseFlags = pugi::parse_escapes | pugi::parse_ws_pcdata_single;

[[noreturn]] void refuse(const std::string& why) {
  throw std::runtime_error("this is no phonebook message: " + why);
}

}  // namespace

PhoneBookMessage PhoneBookMessage::parse(std::string_view xml) {
  pugi::xml_document document;
  const pugi::xml_parse_result result =
      document.load_buffer(xml.data(), xml.size(), kParseFlags, pugi::encoding_utf8);
  if (!result) refuse(result.description());
  const pugi::xml_node schema = document.child("Schema");
  if (std::string_view(schema.attribute("name").value()) != "PhoneBook") {
    refuse("it isn't for the phonebook");
  }
  const pugi::xml_node entry = schema.child("Entry");
  if (entry.empty()) refuse("it has no entry");
  Card card;
  for (const pugi::xml_node field : entry.children()) {
    setColumn(card, field.name(), field.child_value());
  }
  // Only the phonebook gives these.
  card.id.clear();
  return PhoneBookMessage(std::move(card));
}

}  // namespace cards
