// JSON contacts, as read by `cardtool write`.
//
// Contract: a text is a contact or is refused with a reason; reasons and output are valid UTF-8
// without control characters; a contact survives a round trip through JSON and through a phonebook
// entry; its card can be built.

#include <glib.h>

#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>

#include "cards/Card.h"
#include "cards/Contact.h"
#include "fuzz/support/Contract.h"
#include "src/CARD_Creator.h"

namespace fuzz {
namespace {

using cards::Contact;

void requireSafe(std::string_view text, const char* promise) {
  const bool valid = g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr) != 0;
  require(valid, promise);
  for (const char c : text) require(static_cast<std::uint8_t>(c) >= ' ' && c != 0x7F, promise);
}

bool areSame(const Contact& left, const Contact& right) {
  for (const cards::ContactField& field : cards::contactFields()) {
    if (left.*field.value != right.*field.value) return false;
  }
  return true;
}

std::optional<Contact> read(std::string_view json) {
  try {
    return cards::contactFromJson(json);
  } catch (const std::runtime_error& refusal) {
    require(*refusal.what() != '\0', "a refusal has a reason");
    requireSafe(refusal.what(), "a reason is safe to show");
    return std::nullopt;
  }
}

void checkEntry(const Contact& contact) {
  try {
    const cards::Card card = cards::cardOf(contact);
    requireSafe(cards::jsonLine(cards::cardJson(card)), "an entry's JSON is safe to show");
    for (const std::string& line : cards::cardLines(card, "/data/images")) {
      requireSafe(line, "an entry's lines are safe to show");
    }
    Contact again = cards::contactOf(card);
    Contact named = contact;
    named.picture = card.picture;
    require(areSame(again, named), "a phonebook entry keeps the contact");
  } catch (const std::runtime_error& refusal) {
    requireSafe(refusal.what(), "a reason is safe to show");
  }
}

}  // namespace
}  // namespace fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace fuzz;  // NOLINT: it is the target's own
  const std::optional<Contact> contact = read(textOf(data, size));
  if (!contact) return 0;
  const std::string json = cards::contactJson(*contact);
  requireSafe(json, "a contact's JSON is safe to show");
  const std::optional<Contact> again = read(json);
  require(again && areSame(*again, *contact), "a contact survives a round trip through JSON");
  checkEntry(*contact);
  Contact plain = *contact;
  plain.picture.clear();  // never open a path from the input
  const std::string card = CARD_Creator().createVCard(plain);
  require(card.ends_with("END:VCARD\r\n"), "a contact's card is complete");
  return 0;
}
