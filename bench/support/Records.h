#pragma once

#include <string>
#include <vector>

#include "cards/Contact.h"

namespace bench {

/// The contact records of the folder's .json files, one in each. Throws std::runtime_error with a
/// sentence as `readFolder`, and when one holds no contact.
std::vector<cards::Contact> readRecords(const std::string& folder);

}  // namespace bench
