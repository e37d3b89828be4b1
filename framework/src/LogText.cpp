#include "LogText.h"

#include <cstdint>

#include "Utf8.h"

namespace framework_detail {
namespace {

// The code point of a valid sequence of two bytes or more.
std::uint32_t codePointOf(std::string_view sequence) {
  std::uint32_t point = static_cast<unsigned char>(sequence[0]) & (0x7Fu >> sequence.size());
  for (const char byte : sequence.substr(1)) {
    point = (point << 6) | (static_cast<unsigned char>(byte) & 0x3Fu);
  }
  return point;
}

// Control characters beyond ASCII, which some terminals obey; line ends of Unicode; and marks that
// turn the reading direction, with which a text can be made to look like another.
bool isSteering(std::uint32_t point) {
  return point < 0xA0 || point == 0x061C || point == 0x200E || point == 0x200F ||
         (point >= 0x2028 && point <= 0x202E) || (point >= 0x2066 && point <= 0x2069);
}

void appendHex(std::string& out, std::string_view bytes) {
  static constexpr char kDigits[] = "0123456789abcdef";
  for (const char byte : bytes) {
    const auto value = static_cast<unsigned char>(byte);
    out += "\\x";
    out += kDigits[value >> 4];
    out += kDigits[value & 0x0F];
  }
}

void appendAscii(std::string& out, std::string_view character) {
  static constexpr std::string_view kCharacters = "\a\b\t\n\v\f\r\\";
  static constexpr std::string_view kLetters = "abtnvfr\\";
  const char byte = character.front();
  const std::size_t known = kCharacters.find(byte);
  if (known != std::string_view::npos) {
    out += '\\';
    out += kLetters[known];
  } else if (byte < ' ' || byte == '\x7f') {
    appendHex(out, character);
  } else {
    out += byte;
  }
}

}  // namespace

std::string escapeLogText(std::string_view text) {
  std::string out;
  out.reserve(text.size() + 16);
  std::size_t position = 0;
  while (position < text.size()) {
    const std::size_t length = utf8SequenceLength(text, position);
    const std::string_view character = text.substr(position, length == 0 ? 1 : length);
    if (length == 1) {
      appendAscii(out, character);
    } else if (length == 0 || isSteering(codePointOf(character))) {
      appendHex(out, character);
    } else {
      out += character;
    }
    position += character.size();
  }
  return out;
}

std::string escapeLogText(std::string_view text, std::size_t limit) {
  if (text.size() <= limit) return escapeLogText(text);
  std::size_t kept = limit;
  // Not in the middle of a character; the longest has four bytes.
  for (std::size_t back = 1; back <= 3 && back <= limit; ++back) {
    const std::size_t begin = limit - back;
    if (begin + utf8SequenceLength(text, begin) > limit) kept = begin;
  }
  const std::size_t missing = text.size() - kept;
  return escapeLogText(text.substr(0, kept)) + " … " + std::to_string(missing) +
         (missing == 1 ? " more byte" : " more bytes");
}

}  // namespace framework_detail
