#pragma once

#include <endian.h>

#include <array>
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

/// What `isspace` accepts, whatever the locale of the process.
constexpr bool isWhiteSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

/// Copies those of the next eight characters that are ordinary wherever in the name part they
/// stand, up to the first other one. There is room for them.
inline const char* copyWordOfName(const char* in, const char* end, char*& out) {
  if (end - in < static_cast<long>(kWordSize)) return in;
  const Word word = load(in);
  // ":" and ";" differ in one bit.
  const Word marks = Marks(word).below('!').of(';', 1).of('=').of('\\').marked();
  std::memcpy(out, in, sizeof word);
  const std::size_t ordinary = firstMarked(marks);
  out += ordinary;
  return in + ordinary;
}

/// Marks line ends, carriage returns and a few rare control characters in text, and where it is
/// quoted-printable, what begins an escape.
template <bool kQuoted>
Word marksOfText(Word word) {
  Marks marks(word);
  marks.below('\r' + 1);
  if (kQuoted) marks.of('=');
  return marks.marked();
}

/// Copies text up to the first character that means something in it, or to `stop`. There is room.
template <bool kQuoted>
const char* copyText(const char* in, const char* stop, char*& out) {
  const auto isText = [](char c) { return c != '\n' && c != '\r' && !(kQuoted && c == '='); };
  while (stop - in >= static_cast<long>(2 * kWordSize)) {
    const Word first = load(in);
    const Word second = load(in + kWordSize);
    const Word firstMarks = marksOfText<kQuoted>(first);
    const Word secondMarks = marksOfText<kQuoted>(second);
    std::memcpy(out, in, 2 * kWordSize);
    std::size_t size = 2 * kWordSize;
    if (firstMarks != 0) {
      size = firstMarked(firstMarks);
    } else if (secondMarks != 0) {
      size = kWordSize + firstMarked(secondMarks);
    }
    in += size;
    out += size;
    if (size == 2 * kWordSize) continue;
    if (!isText(*in)) return in;
    *out++ = *in++;
  }
  while (in < stop && isText(*in)) *out++ = *in++;
  return in;
}

/// Whether a line that ends here goes on in the next one, as far as can be seen at once.
inline bool isFold(const char* lineEnd, const char* end) {
  return end - lineEnd > 2 && lineEnd[1] != '\n' && isWhiteSpace(lineEnd[1]) && lineEnd[2] != '\n';
}

/// Behind a line break and the white space that continues the line, `in` itself where that isn't
/// seen at once.
inline const char* skipFold(const char* in, const char* end) {
  const char* const lineEnd = *in == '\r' ? in + 1 : in;
  return lineEnd < end && *lineEnd == '\n' && isFold(lineEnd, end) ? lineEnd + 2 : in;
}

/// Whether it is seen at once that the line doesn't go on: another one begins.
inline bool isLastOfLine(const char* lineEnd, const char* end) {
  return end - lineEnd > 1 && !isWhiteSpace(lineEnd[1]);
}

/// Behind a soft line break of quoted-printable text, `in` itself where there is none.
inline const char* skipSoftBreak(const char* in, const char* end) {
  const char* lineEnd = in + 1;
  if (lineEnd < end && *lineEnd == '\r') ++lineEnd;
  const bool isBreak = lineEnd < end && *lineEnd == '\n' && isLastOfLine(lineEnd, end);
  return isBreak ? lineEnd + 1 : in;
}

}  // namespace textscan

// BASE64 by its quartets: four characters of the alphabet are 24 bits, three bytes.
namespace base64 {

inline constexpr unsigned char kInvalidOrd = 255;
inline constexpr std::uint32_t kInvalidQuartet = 1U << 31;

/// The value of each character of the BASE64 alphabet.
inline constexpr std::array<unsigned char, 256> kOrds = [] {
  constexpr const char* kAlphabet =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::array<unsigned char, 256> ords{};
  ords.fill(kInvalidOrd);
  for (unsigned char i = 0; i < 64; ++i) ords[static_cast<unsigned char>(kAlphabet[i])] = i;
  return ords;
}();

/// What a character adds to the 24 bits of its quartet at each of the four places.
using QuartetPlace = std::array<std::uint32_t, 256>;
inline constexpr std::array<QuartetPlace, 4> kQuartet = [] {
  std::array<QuartetPlace, 4> places{};
  for (std::size_t place = 0; place < 4; ++place) {
    for (std::size_t c = 0; c < 256; ++c) {
      const std::uint32_t ord = kOrds[c];
      places[place][c] = ord == kInvalidOrd ? kInvalidQuartet : ord << (18 - 6 * place);
    }
  }
  return places;
}();

/// The 24 bits of a quartet of the alphabet; anything else has the bit `kInvalidQuartet`.
inline std::uint32_t quartetBits(const char* in) {
  const auto* c = reinterpret_cast<const unsigned char*>(in);
  return kQuartet[0][c[0]] | kQuartet[1][c[1]] | kQuartet[2][c[2]] | kQuartet[3][c[3]];
}

/// Writes the bytes of one quartet, or of two, which are 24 bits each. There must be room for
/// `kQuartetRoom` bytes, as some are written that don't count.
inline constexpr int kQuartetRoom = 8;

inline char* putQuartet(char* out, std::uint32_t bits) {
  const std::uint32_t bytes = htobe32(bits << 8);
  std::memcpy(out, &bytes, sizeof bytes);
  return out + 3;
}

inline char* putQuartets(char* out, std::uint32_t first, std::uint32_t second) {
  const std::uint64_t bytes = htobe64((std::uint64_t{first} << 24 | second) << 16);
  std::memcpy(out, &bytes, sizeof bytes);
  return out + 6;
}

}  // namespace base64
