#include "openobex/UnicodeName.h"

namespace openobex {
namespace {

constexpr std::uint32_t kReplacement = 0xFFFD;

bool isHighHalf(std::uint32_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
bool isLowHalf(std::uint32_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

void append(std::string& text, std::uint32_t character) {
  if (character < 0x80) {
    text += static_cast<char>(character);
    return;
  }
  const int more = character < 0x800 ? 1 : character < 0x10000 ? 2 : 3;
  constexpr std::uint32_t kLead[] = {0, 0xC0, 0xE0, 0xF0};
  text += static_cast<char>(kLead[more] | character >> (6 * more));
  for (int i = more - 1; i >= 0; --i) {
    text += static_cast<char>(0x80 | (character >> (6 * i) & 0x3F));
  }
}

}  // namespace

std::string unicodeToUtf8(const std::uint8_t* unicode, std::size_t length) {
  const std::size_t units = length / 2;
  const auto unitAt = [unicode](std::size_t i) {
    return static_cast<std::uint32_t>(unicode[2 * i]) << 8 | unicode[2 * i + 1];
  };
  std::string text;
  for (std::size_t i = 0; i < units; ++i) {
    const std::uint32_t unit = unitAt(i);
    if (unit == 0) break;
    if (isHighHalf(unit) && i + 1 < units && isLowHalf(unitAt(i + 1))) {
      append(text, 0x10000 + ((unit - 0xD800) << 10) + (unitAt(i + 1) - 0xDC00));
      ++i;
    } else {
      append(text, isHighHalf(unit) || isLowHalf(unit) ? kReplacement : unit);
    }
  }
  return text;
}

}  // namespace openobex
