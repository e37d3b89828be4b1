#include "cards/SafeText.h"

#include <glib.h>

#include <algorithm>
#include <array>
#include <cstdio>

namespace cards {

namespace {

constexpr gunichar kZeroWidthNonJoiner = 0x200C;
constexpr gunichar kZeroWidthJoiner = 0x200D;
constexpr const char* kReplacement = "\xEF\xBF\xBD";

struct Character {
  gunichar code;      ///< undefined unless `valid`
  std::size_t bytes;  ///< length in the text, at least 1
  bool valid;
};

Character firstCharacter(std::string_view text) {
  // GLib treats NUL as the end of the text.
  if (text.front() == '\0') return {0, 1, true};
  const gunichar code = g_utf8_get_char_validated(text.data(), static_cast<gssize>(text.size()));
  const bool valid = code != static_cast<gunichar>(-1) && code != static_cast<gunichar>(-2);
  if (!valid) return {0, 1, false};
  return {code, static_cast<std::size_t>(g_unichar_to_utf8(code, nullptr)), true};
}

bool mayBeShown(gunichar code) {
  if (code == kZeroWidthJoiner || code == kZeroWidthNonJoiner) return true;
  const GUnicodeType type = g_unichar_type(code);
  return g_unichar_isprint(code) != 0 && type != G_UNICODE_LINE_SEPARATOR &&
         type != G_UNICODE_PARAGRAPH_SEPARATOR && type != G_UNICODE_PRIVATE_USE;
}

template <typename... Values>
std::string format(const char* pattern, Values... values) {
  std::array<char, 32> buffer{};
  std::snprintf(buffer.data(), buffer.size(), pattern, values...);
  return buffer.data();
}

std::string codeOf(gunichar code) {
  switch (code) {
    case '\n':
      return "\\n";
    case '\r':
      return "\\r";
    case '\t':
      return "\\t";
    default:
      if (code < 0x80) return format("\\x%02x", code);
      return code <= 0xFFFF ? format("\\u%04x", code) : format("\\U%08x", code);
  }
}

std::string jsonCodeOf(gunichar code) {
  if (code <= 0xFFFF) return format("\\u%04x", code);
  const gunichar rest = code - 0x10000;
  return format("\\u%04x\\u%04x", 0xD800 + (rest >> 10), 0xDC00 + (rest & 0x3FF));
}

}  // namespace

std::string safeText(std::string_view text, std::size_t limit) {
  std::string safe;
  for (std::size_t count = 0; !text.empty(); ++count) {
    if (count == limit) {
      return safe + "... (" + std::to_string(text.size()) + " more bytes)";
    }
    const Character next = firstCharacter(text);
    if (!next.valid) {
      safe += kReplacement;
    } else if (mayBeShown(next.code)) {
      safe += text.substr(0, next.bytes);
    } else {
      safe += codeOf(next.code);
    }
    text.remove_prefix(next.bytes);
  }
  return safe;
}

std::string safeLines(std::string_view text) {
  constexpr std::string_view kLineEnd = "\r\n";
  std::string safe;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find(kLineEnd), text.size());
    safe.append(safeText(text.substr(0, end))).append(kLineEnd);
    text.remove_prefix(std::min(end + kLineEnd.size(), text.size()));
  }
  return safe;
}

std::string safeJson(std::string_view json) {
  std::string safe;
  safe.reserve(json.size());
  while (!json.empty()) {
    const Character next = firstCharacter(json);
    // The serializer has escaped ASCII control characters; any that are left are its own newlines.
    const bool plain = next.valid && next.code < 0x7F;
    if (plain || (next.valid && mayBeShown(next.code))) {
      safe += json.substr(0, next.bytes);
    } else {
      safe += next.valid ? jsonCodeOf(next.code) : kReplacement;
    }
    json.remove_prefix(next.bytes);
  }
  return safe;
}

std::size_t displayWidth(std::string_view safe) {
  std::size_t width = 0;
  while (!safe.empty()) {
    const Character next = firstCharacter(safe);
    if (!next.valid || g_unichar_iszerowidth(next.code) == 0) {
      width += next.valid && g_unichar_iswide(next.code) != 0 ? 2 : 1;
    }
    safe.remove_prefix(next.bytes);
  }
  return width;
}

}  // namespace cards
