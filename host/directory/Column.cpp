#include "host/directory/Column.h"

#include <algorithm>

namespace host {

namespace {

// In the order of the enumeration.
constexpr std::array<std::string_view, kAllColumns.size()> kNames = {
    "Id",      "Surname",     "Firstname",     "Office",  "Office2",
    "Mobile",  "Private",     "Email",         "Address", "Address2",
    "Company", "JobFunction", "DefaultNumber", "Picture", "Group"};

}  // namespace

std::string_view columnName(Column column) { return kNames.at(static_cast<std::size_t>(column)); }

std::optional<Column> columnNamed(std::string_view name) {
  const auto* const found = std::find_if(kAllColumns.begin(), kAllColumns.end(),
                                         [&](Column column) { return columnName(column) == name; });
  if (found == kAllColumns.end()) return std::nullopt;
  return *found;
}

}  // namespace host
