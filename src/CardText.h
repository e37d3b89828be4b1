#pragma once

#include <cstddef>
#include <cstring>

#include "TextScan.h"

// How the text of a card is taken many characters at once: as far as nothing in it needs a look.
namespace cardtext {

/// What `isspace` accepts, whatever the locale of the process.
constexpr bool isWhiteSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

/// Copies those of the next eight characters that are ordinary wherever in the name part they
/// stand, up to the first other one. There is room for them.
inline const char* copyWordOfName(const char* in, const char* end, char*& out) {
  if (end - in < static_cast<long>(textscan::kWordSize)) return in;
  const textscan::Word word = textscan::load(in);
  // ":" and ";" differ in one bit.
  const textscan::Word marks =
      textscan::Marks(word).below('!').of(';', 1).of('=').of('\\').marked();
  std::memcpy(out, in, sizeof word);
  const std::size_t ordinary = textscan::firstMarked(marks);
  out += ordinary;
  return in + ordinary;
}

/// Marks line ends, carriage returns and a few rare control characters in text, and where it is
/// quoted-printable, what begins an escape.
template <bool kQuoted>
textscan::Word marksOfText(textscan::Word word) {
  textscan::Marks marks(word);
  marks.below('\r' + 1);
  if (kQuoted) marks.of('=');
  return marks.marked();
}

/// Copies text up to the first character that means something in it, or to `stop`. There is room.
template <bool kQuoted>
const char* copyText(const char* in, const char* stop, char*& out) {
  using textscan::kWordSize;
  const auto isText = [](char c) { return c != '\n' && c != '\r' && !(kQuoted && c == '='); };
  while (stop - in >= static_cast<long>(2 * kWordSize)) {
    const textscan::Word first = textscan::load(in);
    const textscan::Word second = textscan::load(in + kWordSize);
    const textscan::Word firstMarks = marksOfText<kQuoted>(first);
    const textscan::Word secondMarks = marksOfText<kQuoted>(second);
    std::memcpy(out, in, 2 * kWordSize);
    std::size_t size = 2 * kWordSize;
    if (firstMarks != 0) {
      size = textscan::firstMarked(firstMarks);
    } else if (secondMarks != 0) {
      size = kWordSize + textscan::firstMarked(secondMarks);
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

}  // namespace cardtext
