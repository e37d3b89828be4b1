#pragma once

#include <string>
#include <string_view>

#include "cards/Contact.h"

namespace contacts {

// A contact as one JSON object: the record's fields by their names, every value a text. Stateless:
// any thread. Errors are std::runtime_error with a sentence, safe to show.

/// One line without its line end, every field in it, empty ones included. What could steer a
/// terminal is escaped. Throws when a field is not UTF-8, which JSON can't carry.
std::string contactJson(const Contact& contact);

/// Reads such an object. A field that is missing is empty. Throws for what is no JSON object, for a
/// key that is no field or stands there twice, and for a value that is no text.
Contact contactFromJson(std::string_view json);

/// The names of the fields, for helps and sentences: "firstname, surname, ...".
std::string contactKeys();

}  // namespace contacts
