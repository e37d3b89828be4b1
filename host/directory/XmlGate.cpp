#include "host/directory/XmlGate.h"

#include <charconv>
#include <cstdint>

#include "host/directory/DirectoryRefusal.h"

namespace host {

namespace {

// "&#x" and ";" around the longest number of a character.
constexpr std::size_t kMaxReferenceBytes = 16;

bool isNamedCharacter(std::string_view name) {
  return name == "amp" || name == "lt" || name == "gt" || name == "quot" || name == "apos";
}

// The reader would take a number that is too large modulo 2^32, and zero as the end of the text.
bool isNumberedCharacter(std::string_view name) {
  if (name.size() < 2 || name.front() != '#') return false;
  const bool hexadecimal = name[1] == 'x';
  const std::string_view digits = name.substr(hexadecimal ? 2 : 1);
  std::uint32_t code = 0;
  const auto [end, error] =
      std::from_chars(digits.data(), digits.data() + digits.size(), code, hexadecimal ? 16 : 10);
  if (error != std::errc() || end != digits.data() + digits.size()) return false;
  const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
  return code != 0 && code <= 0x10FFFF && !surrogate;
}

}  // namespace

void XmlGate::check(std::string_view text) { XmlGate(text).checkAll(); }

void XmlGate::checkAll() {
  if (m_text.size() > kMaxBytes) throw DirectoryRefusal("The request is larger than 32 MiB.");
  while (m_at < m_text.size()) {
    switch (m_text[m_at]) {
      case '\0':
        throw DirectoryRefusal("The request holds a NUL byte, which can't be stored.");
      case '<':
        passTag();
        break;
      case '&':
        passReference();
        break;
      default:
        ++m_at;
        break;
    }
  }
}

void XmlGate::passTag() {
  if (++m_tags > kMaxTags) throw DirectoryRefusal("The request holds more than 256 tags.");
  const std::string_view tag = m_text.substr(m_at, kMaxTagBytes);
  if (tag.starts_with("<!"))
    throw DirectoryRefusal("Comments, CDATA sections and document types are not taken.");
  if (tag.starts_with("<?") && m_tags > 1)
    throw DirectoryRefusal("Processing instructions are not taken.");
  char quote = '\0';
  for (std::size_t i = 1; i < tag.size(); ++i) {
    const char c = tag[i];
    if (c == '\0') break;
    if (quote == '\0' && c == '>') {
      m_at += i + 1;
      return;
    }
    if (quote == '\0' && (c == '"' || c == '\'')) {
      quote = c;
    } else if (c == quote) {
      quote = '\0';
    }
  }
  throw DirectoryRefusal("The request is not well-formed XML: a tag has no end within 1024 bytes.");
}

void XmlGate::passReference() {
  const std::string_view reference = m_text.substr(m_at + 1, kMaxReferenceBytes);
  const std::size_t end = reference.find(';');
  const std::string_view name = reference.substr(0, end);
  if (end == std::string_view::npos || !(isNamedCharacter(name) || isNumberedCharacter(name))) {
    throw DirectoryRefusal(
        "The request holds an \"&\" that doesn't begin amp, lt, gt, quot, apos or the number of a "
        "character that can be stored.");
  }
  m_at += 1 + end + 1;
}

}  // namespace host
