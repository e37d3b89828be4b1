#pragma once

#include <array>
#include <string>
#include <string_view>

#include "cards/Card.h"
#include "src/OBEXServiceIfc.h"

namespace cards {

/// A contact in the form in which the phone sends it.
using Contact = obex_phonebook_data_t;

struct ContactField {
  const char* key;          ///< in JSON and on the command line
  const char* description;  ///< for people
  std::string parameter;    ///< in the message that hands the contact to the phone
  std::string Contact::*value;
  std::string Card::*column;  ///< the same field of a phonebook entry
};

inline constexpr std::size_t kContactFields = 13;

// All functions are stateless and may be called from any thread. Errors are std::runtime_error with
// a message that is safe to print.

/// All fields, in the order of the record.
const std::array<ContactField, kContactFields>& contactFields();

/// The contact that the phone sends for a phonebook entry. The default number becomes a word
/// ("Office", "Office2", "Mobile", "Private"), or empty if it is none of the four.
Contact contactOf(const Card& card);

/// The phonebook entry for a contact, the reverse of contactOf(). A picture may be a name or a path
/// in /data/images. Throws on an unknown default number or a picture outside that folder.
Card cardOf(const Contact& contact);

/// One line of JSON with every field as a string, without a newline; safe to print. Throws if a
/// field is not valid UTF-8.
std::string contactJson(const Contact& contact);

/// Parses such an object; missing fields become empty. Throws on anything but an object, on an
/// unknown or duplicate key, and on a value that isn't a string.
Contact contactFromJson(std::string_view json);

/// The field names, comma-separated, for help texts and messages.
std::string contactKeys();

/// The card that the phone would send, made by the service's own builder.
struct SentCard {
  std::string text;
  bool pictureMissing = false;    ///< the contact's picture is unreadable or empty
  bool pictureTruncated = false;  ///< the picture exceeds kMaxSentPicture; its start was sent
};

/// The builder sends no more of a picture, in bytes.
inline constexpr std::size_t kMaxSentPicture = 102400;

/// Builds the card. Pictures are read from /data/images, as on the phone.
SentCard sentCard(const Contact& contact);

}  // namespace cards
