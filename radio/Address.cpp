#include "radio/Address.h"

#include <cstring>

namespace radio {
namespace {

constexpr size_t kBytes = 6;

int digitValue(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
  return -1;
}

char toUpper(char digit) {
  return digit >= 'a' && digit <= 'f' ? static_cast<char>(digit - 'a' + 'A') : digit;
}

}  // namespace

bool parseAddress(const char* text, bdaddr_t* address) {
  char digits[kDigits];
  if (strnlen(text, 18) != 17) return false;
  for (size_t group = 0; group < kBytes; ++group) {
    if (group > 0 && text[3 * group - 1] != ':') return false;
    digits[2 * group] = toUpper(text[3 * group]);
    digits[2 * group + 1] = toUpper(text[3 * group + 1]);
  }
  return parseDigits(digits, address);
}

bool parseDigits(const char* digits, bdaddr_t* address) {
  bdaddr_t result = {};
  for (size_t i = 0; i < kBytes; ++i) {
    const int high = digitValue(digits[2 * i]);
    const int low = high < 0 ? -1 : digitValue(digits[2 * i + 1]);
    if (low < 0) return false;
    result.b[kBytes - 1 - i] = static_cast<uint8_t>(high * 16 + low);
  }
  *address = result;
  return true;
}

void formatDigits(const bdaddr_t& address, char* digits) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  for (size_t i = 0; i < kBytes; ++i) {
    const uint8_t byte = address.b[kBytes - 1 - i];
    digits[2 * i] = kHex[byte >> 4];
    digits[2 * i + 1] = kHex[byte & 15];
  }
}

bool sameAddress(const bdaddr_t& one, const bdaddr_t& other) {
  return std::memcmp(&one, &other, sizeof one) == 0;
}

bool isAny(const bdaddr_t& address) { return sameAddress(address, bdaddr_t{}); }

}  // namespace radio
