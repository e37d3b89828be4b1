#pragma once

#include <string>

#include "cards/Contact.h"

namespace contacts {

/// The card that the phone sends for a contact, made by its own builder. A plain value.
struct SentCard {
  std::string text;
  bool pictureMissing = false;  ///< there is one in the contact, and it can't be read or is empty
  bool pictureCut = false;      ///< the card has the first part of the picture only
};

/// Builds it. Pictures are looked for where the phone looks, in /data/images. Stateless: any
/// thread.
SentCard sentCard(const Contact& contact);

/// The card's lines as a terminal may show them, which is not to obey what a stranger wrote.
/// Stateless: any thread.
std::string safeCardLines(const std::string& card);

}  // namespace contacts
