#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace framework_detail {

/// The text on one line and harmless to a terminal: control characters, backslashes, bytes that are
/// not UTF-8, and the characters that turn the reading direction or end a line in Unicode are
/// written as C escapes; a hexadecimal one has always two digits. The original can be told from it.
std::string escapeLogText(std::string_view text);

/// As above, but of at most `limit` bytes of the text; a note tells how many more there are.
std::string escapeLogText(std::string_view text, std::size_t limit);

}  // namespace framework_detail
