#pragma once

#include <endian.h>

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

// Scans the text of cards, eight characters at a time where possible. Nothing here reads outside
// the given text.
namespace textscan {

/// Eight characters, the first in the lowest byte.
using Word = std::uint64_t;
constexpr std::size_t kWordSize = sizeof(Word);
constexpr Word kEachByte = ~Word{0} / 255;
constexpr Word kTopBits = kEachByte * 0x80;

inline Word load(const char* in) {
  Word word = 0;
  std::memcpy(&word, in, sizeof word);
  return le64toh(word);
}

/// SWAR: sets the top bit of each byte that matches one of the tests. Tests are for ASCII; bytes
/// from 0x80 on never match.
class Marks {
 public:
  explicit constexpr Marks(Word word) : m_word(word), m_ascii(word & ~kTopBits) {}

  /// Marks characters below `limit`.
  constexpr Marks& below(char limit) {
    m_others &= m_ascii + kEachByte * (0x80U - static_cast<unsigned char>(limit));
    return *this;
  }
  /// Marks `c`, and characters that differ from it only in `bits`, which are all set in `c`.
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
  Word m_others = ~Word{0};  ///< top bit clear where a test matched
};

/// Index of the first marked character, `kWordSize` if there is none.
constexpr std::size_t firstMarked(Word marks) {
  return static_cast<std::size_t>(std::countr_zero(marks)) / 8;
}

inline bool isAscii(const char* text, std::size_t size) {
  Word seen = 0;
  std::size_t i = 0;
  for (; size - i >= kWordSize; i += kWordSize) seen |= load(text + i);
  // The last word may overlap the one before.
  if (size >= kWordSize) return ((seen | load(text + size - kWordSize)) & kTopBits) == 0;
  for (; i < size; ++i) seen |= static_cast<unsigned char>(text[i]);
  return (seen & kTopBits) == 0;
}

/// `isspace` of the C locale.
constexpr bool isWhiteSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

/// The value of a hexadecimal digit, -1 for any other character.
constexpr int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

/// Copies up to eight characters of a property's name part, stopping before the first one that any
/// state of the tokenizer treats specially. `out` must have room for `end - in` characters.
inline const char* copyWordOfName(const char* in, const char* end, char*& out) {
  if (end - in < static_cast<long>(kWordSize)) return in;
  const Word word = load(in);
  // ":" and ";" differ in bit 0.
  const Word marks = Marks(word).below('!').of(';', 1).of('=').of('\\').marked();
  std::memcpy(out, in, sizeof word);
  const std::size_t ordinary = firstMarked(marks);
  out += ordinary;
  return in + ordinary;
}

/// Marks control characters up to "\r" and, in quoted-printable text, "=".
template <bool kQuoted>
Word marksOfText(Word word) {
  Marks marks(word);
  marks.below('\r' + 1);
  if (kQuoted) marks.of('=');
  return marks.marked();
}

/// Copies text up to `stop` or the first line feed, carriage return or, in quoted-printable text,
/// "=". `out` must have room for `stop - in` characters.
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

// The fast path handles folds and soft line breaks only where the next two characters decide. The
// functions below return false, or `in`, for the rest, which the tokenizer reads byte by byte.

/// Whether the line break at `lineEnd` continues the line.
inline bool isFold(const char* lineEnd, const char* end) {
  return end - lineEnd > 2 && lineEnd[1] != '\n' && isWhiteSpace(lineEnd[1]) && lineEnd[2] != '\n';
}

/// Skips a line break that continues the line and the white space after it.
inline const char* skipFold(const char* in, const char* end) {
  const char* const lineEnd = *in == '\r' ? in + 1 : in;
  return lineEnd < end && *lineEnd == '\n' && isFold(lineEnd, end) ? lineEnd + 2 : in;
}

/// Whether the line break at `lineEnd` ends the line.
inline bool isLastOfLine(const char* lineEnd, const char* end) {
  return end - lineEnd > 1 && !isWhiteSpace(lineEnd[1]);
}

/// Skips a soft line break of quoted-printable text.
inline const char* skipSoftBreak(const char* in, const char* end) {
  const char* lineEnd = in + 1;
  if (lineEnd < end && *lineEnd == '\r') ++lineEnd;
  const bool isBreak = lineEnd < end && *lineEnd == '\n' && isLastOfLine(lineEnd, end);
  return isBreak ? lineEnd + 1 : in;
}

}  // namespace textscan

// BASE64 decoding. A quartet is four characters, which encode 24 bits.
namespace base64 {

inline constexpr unsigned char kInvalidOrd = 255;
inline constexpr std::uint32_t kInvalidQuartet = 1U << 31;

/// The 6-bit value of each character, `kInvalidOrd` outside the alphabet.
inline constexpr std::array<unsigned char, 256> kOrds = [] {
  constexpr const char* kAlphabet =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::array<unsigned char, 256> ords{};
  ords.fill(kInvalidOrd);
  for (unsigned char i = 0; i < 64; ++i) ords[static_cast<unsigned char>(kAlphabet[i])] = i;
  return ords;
}();

/// For each place in a quartet, the characters' values shifted into position.
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

/// Decodes a quartet. The bit `kInvalidQuartet` is set if a character is not in the alphabet.
inline std::uint32_t quartetBits(const char* in) {
  const auto* c = reinterpret_cast<const unsigned char*>(in);
  return kQuartet[0][c[0]] | kQuartet[1][c[1]] | kQuartet[2][c[2]] | kQuartet[3][c[3]];
}

/// Room that `putQuartet` and `putQuartets` need: they write a whole word and return the end of the
/// 3 or 6 bytes that count.
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
