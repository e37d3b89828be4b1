#include "tools/phonectl/EntryId.h"

namespace phonectl {

namespace {

// Longer numbers are no Ids of any phonebook.
constexpr std::size_t kMaxIdDigits = 18;

}  // namespace

std::string checkId(const std::string& text) {
  const bool id = !text.empty() && text.size() <= kMaxIdDigits &&
                  text.find_first_not_of("0123456789") == std::string::npos;
  return id ? "" : "an Id is a number, as `phonectl book list` shows it";
}

}  // namespace phonectl
