#pragma once

#include <utf8.h>

#include <cstddef>
#include <string_view>

namespace framework_detail {

/// Returns the length of the UTF-8 sequence that `text` starts with, 0 if it isn't a valid one.
inline std::size_t utf8Length(std::string_view text) {
  // utf8::next() would throw for every invalid byte. Four bytes are the longest sequence.
  const std::string_view first = text.substr(0, 4);
  auto end = first.begin();
  if (utf8::find_invalid(first.begin(), first.end()) != end) utf8::unchecked::next(end);
  return static_cast<std::size_t>(end - first.begin());
}

}  // namespace framework_detail
