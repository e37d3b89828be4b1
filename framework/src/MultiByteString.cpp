#include "framework/MultiByteString.h"

#include <algorithm>

#include "Utf8.h"

namespace {

// Returns the position `count` characters after `position`, at most the end of the text.
std::size_t skipCharacters(std::string_view text, std::size_t position, std::size_t count) {
  for (; count > 0 && position < text.size(); --count) {
    position += std::max<std::size_t>(framework_detail::utf8Length(text.substr(position)), 1);
  }
  return position;
}

}  // namespace

std::string mb_substr(const std::string& text, std::size_t first, std::size_t count) {
  const std::size_t begin = skipCharacters(text, 0, first);
  const std::size_t end = skipCharacters(text, begin, count);
  return text.substr(begin, end - begin);
}
