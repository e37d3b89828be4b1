// The JSON of a contact, as `cardtool write` reads it.
//
// Promised: a text is a contact, or is refused in a sentence that is safe to show; a contact is
// written as one line that steers no terminal, and read back as the same; the card for it can be
// built; the phonebook's entry for it gives the same contact again.

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
    require(*refusal.what() != '\0', "a refusal is in words");
    requireSafe(refusal.what(), "a refusal is safe to show");
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
    require(areSame(again, named), "the phonebook keeps a contact as it is");
  } catch (const std::runtime_error& refusal) {
    requireSafe(refusal.what(), "a refusal is safe to show");
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
  require(again && areSame(*again, *contact), "a contact is read back as it was written");
  checkEntry(*contact);
  Contact plain = *contact;
  plain.picture.clear();  // no path of an input is opened
  const std::string card = CARD_Creator().createVCard(plain);
  require(card.ends_with("END:VCARD\r\n"), "the card for a contact has its end");
  return 0;
}
