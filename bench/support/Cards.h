#pragma once

#include <cstddef>
#include <string>

#include "cards/Contact.h"

namespace bench {

// Made-up cards and contacts to measure with. The same number gives the same bytes on every
// machine. Stateless: any thread.

/// A vCard 2.1 as telephones send it: name, numbers, address, company; every fourth one has
/// quoted-printable text.
std::string smallCard(unsigned number);
/// A small card with a picture of so many bytes, in BASE64 folded at 76 characters.
std::string photoCard(unsigned number, std::size_t pictureBytes);
/// A vCard 3.0 with so many bytes of text, most of them in a note and some in fields that the
/// telephone keeps, folded at 75 characters.
std::string foldedCard(unsigned number, std::size_t textBytes);

/// A contact with every field but the picture.
cards::Contact contact(unsigned number);
/// Bytes that nothing can compress, which begin as a JPEG does.
std::string picture(unsigned number, std::size_t size);

}  // namespace bench
