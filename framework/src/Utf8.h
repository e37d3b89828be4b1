#pragma once

#include <cstddef>
#include <string_view>

namespace framework_detail {

/// How many bytes the valid UTF-8 sequence at `position` has; 0 when none begins there (a stray or
/// missing continuation byte, an overlong form, a surrogate, more than U+10FFFF, the text's end).
/// Any thread.
std::size_t utf8SequenceLength(std::string_view text, std::size_t position);

/// Whether the whole text is valid UTF-8. NUL is a valid character.
bool isUtf8(std::string_view text);

}  // namespace framework_detail
