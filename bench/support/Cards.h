#pragma once

#include <cstddef>
#include <string>

#include "cards/Contact.h"

namespace bench {

// Generated cards and contacts. The same number gives the same bytes on every machine. Thread-safe.

/// A vCard 2.1 as sent by telephones: name, numbers, address, company. Every fourth has
/// quoted-printable text.
std::string smallCard(unsigned number);
/// A small card with a picture, in BASE64 folded at 76 characters.
std::string photoCard(unsigned number, std::size_t pictureBytes);
/// A vCard 3.0 with text folded at 75 characters, mostly in a note, the rest in stored fields.
std::string foldedCard(unsigned number, std::size_t textBytes);

/// A contact with all fields but the picture.
cards::Contact contact(unsigned number);
/// Random bytes that begin like a JPEG.
std::string picture(unsigned number, std::size_t size);

}  // namespace bench
