#pragma once

#include <endian.h>

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

// Looking at many characters at once. Nothing here reads outside of the text that it is given.
namespace textscan {

/// Eight characters, the first in the lowest byte.
using Word = std::uint64_t;
constexpr std::size_t kWordSize = sizeof(Word);
constexpr Word kEachByte = ~Word{0} / 255;
constexpr Word kTopBits = kEachByte * 0x80;

/// The eight characters at `in`.
inline Word load(const char* in) {
  Word word = 0;
  std::memcpy(&word, in, sizeof word);
  return le64toh(word);
}

/// Of eight characters those that are looked for are marked by their top bits. Tests are made of
/// ASCII characters only, and say where there is none: they are joined with "&" and then inverted.
class Marks {
 public:
  explicit constexpr Marks(Word word) : m_word(word), m_ascii(word & ~kTopBits) {}

  /// Marks characters below `limit`, which is ASCII.
  constexpr Marks& below(char limit) {
    m_others &= m_ascii + kEachByte * (0x80U - static_cast<unsigned char>(limit));
    return *this;
  }
  /// Marks the ASCII character `c`; with some `bits` that it has, also those that are the same
  /// but for them.
  constexpr Marks& of(char c, unsigned bits = 0) {
    const Word difference =
        (m_ascii | kEachByte * bits) ^ kEachByte * static_cast<unsigned char>(c);
    m_others &= difference + kEachByte * 0x7F;
    return *this;
  }
  constexpr Word marked() const { return ~(m_others | m_word) & kTopBits; }

 private:
  Word m_word;
  Word m_ascii;
  Word m_others = ~Word{0};
};

/// Where the first marked character stands, the size of a word when none is.
constexpr std::size_t firstMarked(Word marks) {
  return static_cast<std::size_t>(std::countr_zero(marks)) / 8;
}

/// Whether the `size` characters are all ASCII.
inline bool isAscii(const char* text, std::size_t size) {
  Word seen = 0;
  std::size_t i = 0;
  for (; size - i >= kWordSize; i += kWordSize) seen |= load(text + i);
  // The last word may have characters again that were seen already.
  if (size >= kWordSize) return ((seen | load(text + size - kWordSize)) & kTopBits) == 0;
  for (; i < size; ++i) seen |= static_cast<unsigned char>(text[i]);
  return (seen & kTopBits) == 0;
}

}  // namespace textscan
