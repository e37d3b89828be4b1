#pragma once

#include <array>
#include <string>

#include "cards/Card.h"
#include "src/OBEXServiceIfc.h"

namespace contacts {

/// A contact as the phone takes it to send it.
using Contact = obex_phonebook_data_t;

/// One of a contact's thirteen fields, and under which names it travels.
struct ContactField {
  const char* key;          ///< in JSON
  const char* description;  ///< for people
  std::string parameter;    ///< in the message that hands the contact to the phone
  std::string Contact::*value;
  std::string cards::Card::*column;  ///< where the phonebook keeps it
};

inline constexpr std::size_t kContactFields = 13;

/// All of them, in the order of the record. Stateless: any thread.
const std::array<ContactField, kContactFields>& contactFields();

// From the phonebook and back. Every field has a column, and the texts are the same in both, but
// for two: the phonebook calls the default number by a digit ("1" to "4"), a contact by a word
// ("Office", "Office2", "Mobile", "Private"); and the phonebook's Picture is a name beneath
// /data/images/, where a contact may have the whole path. Stateless: any thread.

/// What the phone sends for an entry of the phonebook. A default number that is none of the four
/// becomes empty, which marks no number.
Contact contactOf(const cards::Card& card);

/// The entry that keeps this contact. Throws std::runtime_error with a sentence, safe to show, when
/// the phonebook has no place for what its default number or picture says.
cards::Card cardOf(const Contact& contact);

}  // namespace contacts
