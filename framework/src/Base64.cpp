#include "Base64.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace framework_detail {
namespace {

constexpr std::string_view kAlphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint8_t kNoDigit = 0xFF;

constexpr std::array<std::uint8_t, 256> makeDigits() {
  std::array<std::uint8_t, 256> digits{};
  digits.fill(kNoDigit);
  for (std::size_t value = 0; value < kAlphabet.size(); ++value) {
    digits[static_cast<unsigned char>(kAlphabet[value])] = static_cast<std::uint8_t>(value);
  }
  return digits;
}

constexpr auto kDigits = makeDigits();

// One to three bytes become four characters.
void appendGroup(std::string& text, std::string_view bytes) {
  std::uint32_t bits = 0;
  for (std::size_t index = 0; index < 3; ++index) {
    bits = (bits << 8) | (index < bytes.size() ? static_cast<unsigned char>(bytes[index]) : 0u);
  }
  for (std::size_t index = 0; index < 4; ++index) {
    text += index <= bytes.size() ? kAlphabet[(bits >> (18 - 6 * index)) & 0x3F] : '=';
  }
}

// Two to four digits, the padding taken off, become one to three bytes.
bool decodeGroup(std::string_view digits, std::string& bytes) {
  std::uint32_t bits = 0;
  for (std::size_t index = 0; index < 4; ++index) {
    const std::uint8_t value =
        index < digits.size() ? kDigits[static_cast<unsigned char>(digits[index])] : std::uint8_t{};
    if (value == kNoDigit) return false;
    bits = (bits << 6) | value;
  }
  for (std::size_t index = 0; index + 1 < digits.size(); ++index) {
    bytes += static_cast<char>(static_cast<unsigned char>(bits >> 16));
    bits = (bits << 8) & 0xFFFFFF;
  }
  return bits == 0 || digits.size() == 4;
}

}  // namespace

std::string encodeBase64(std::string_view bytes) {
  std::string text;
  text.reserve((bytes.size() / 3 + 1) * 4);
  for (std::size_t position = 0; position < bytes.size(); position += 3) {
    appendGroup(text, bytes.substr(position, 3));
  }
  return text;
}

bool decodeBase64(std::string_view text, std::string& bytes) {
  if (text.size() % 4 != 0) return false;
  std::string decoded;
  decoded.reserve(text.size() / 4 * 3);
  for (std::size_t position = 0; position < text.size(); position += 4) {
    std::string_view digits = text.substr(position, 4);
    if (position + 4 == text.size()) {
      if (digits[3] == '=') digits.remove_suffix(digits[2] == '=' ? 2 : 1);
    }
    if (!decodeGroup(digits, decoded)) return false;
  }
  bytes = std::move(decoded);
  return true;
}

}  // namespace framework_detail
