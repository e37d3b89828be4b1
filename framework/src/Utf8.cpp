#include "Utf8.h"

namespace framework_detail {
namespace {

// The bytes that may follow a lead byte: how many in all, and the bounds of the first of them,
// which is what shuts out overlong forms, surrogates and what lies above U+10FFFF.
struct Lead {
  std::size_t length;
  unsigned char low;
  unsigned char high;
};

Lead leadOf(unsigned char byte) {
  if (byte < 0x80) return {1, 0, 0};
  if (byte < 0xC2 || byte > 0xF4) return {0, 0, 0};
  if (byte < 0xE0) return {2, 0x80, 0xBF};
  if (byte == 0xE0) return {3, 0xA0, 0xBF};
  if (byte == 0xED) return {3, 0x80, 0x9F};
  if (byte < 0xF0) return {3, 0x80, 0xBF};
  if (byte == 0xF0) return {4, 0x90, 0xBF};
  if (byte == 0xF4) return {4, 0x80, 0x8F};
  return {4, 0x80, 0xBF};
}

}  // namespace

std::size_t utf8SequenceLength(std::string_view text, std::size_t position) {
  if (position >= text.size()) return 0;
  const auto byteAt = [text](std::size_t index) { return static_cast<unsigned char>(text[index]); };
  const Lead lead = leadOf(byteAt(position));
  if (lead.length <= 1) return lead.length;
  if (lead.length > text.size() - position) return 0;
  if (byteAt(position + 1) < lead.low || byteAt(position + 1) > lead.high) return 0;
  for (std::size_t index = 2; index < lead.length; ++index) {
    if ((byteAt(position + index) & 0xC0) != 0x80) return 0;
  }
  return lead.length;
}

bool isUtf8(std::string_view text) {
  std::size_t position = 0;
  while (position < text.size()) {
    const std::size_t length = utf8SequenceLength(text, position);
    if (length == 0) return false;
    position += length;
  }
  return true;
}

}  // namespace framework_detail
