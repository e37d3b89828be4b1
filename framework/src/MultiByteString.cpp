#include "framework/MultiByteString.h"

#include <algorithm>

#include "Utf8.h"

namespace {

// Where the text goes on behind `count` characters from `position`.
std::size_t skipCharacters(const std::string& text, std::size_t position, std::size_t count) {
  while (count > 0 && position < text.size()) {
    position += std::max<std::size_t>(framework_detail::utf8SequenceLength(text, position), 1);
    --count;
  }
  return position;
}

}  // namespace

std::string mb_substr(const std::string& text, std::size_t first, std::size_t count) {
  const std::size_t begin = skipCharacters(text, 0, first);
  const std::size_t end = skipCharacters(text, begin, count);
  return text.substr(begin, end - begin);
}
