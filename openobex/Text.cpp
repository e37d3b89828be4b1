// The conversions that OpenOBEX 1.x had and the current library lacks.

#include <cstddef>
#include <cstring>

#include "openobex/openobex.h"

namespace openobex {

int OBEX_CharToUnicode(std::uint8_t* unicode, const std::uint8_t* text, int size) {
  if (unicode == nullptr || text == nullptr || size < 2) return -1;
  // Characters beyond this don't fit, so don't look for the terminator there.
  const std::size_t limit = static_cast<std::size_t>(size) / 2;
  const void* end = std::memchr(text, 0, limit);
  if (end == nullptr) return -1;
  const auto length = static_cast<std::size_t>(static_cast<const std::uint8_t*>(end) - text);
  // Backwards, because both may be the same buffer; includes the terminator.
  for (std::size_t i = length + 1; i-- > 0;) {
    const std::uint8_t character = text[i];
    unicode[2 * i + 1] = character;
    unicode[2 * i] = 0;
  }
  return static_cast<int>(2 * length + 2);
}

int OBEX_UnicodeToChar(std::uint8_t* text, const std::uint8_t* unicode, int size) {
  if (text == nullptr || unicode == nullptr || size < 1) return -1;
  const std::size_t limit = static_cast<std::size_t>(size) - 1;
  std::size_t length = 0;
  for (; length < limit; ++length) {
    const std::uint8_t high = unicode[2 * length];
    const std::uint8_t low = unicode[2 * length + 1];
    if (high == 0 && low == 0) break;
    // The low byte alone could be '.' or 0, and change the extension that the caller sees.
    text[length] = high == 0 ? low : std::uint8_t{'?'};
  }
  text[length] = 0;
  return static_cast<int>(length + 1);
}

}  // namespace openobex
