#include "cards/ReadingTrace.h"

#include <strings.h>

#include <charconv>

#include "cards/SafeText.h"

namespace contacts {

namespace {

constexpr std::size_t kMaxShown = 60;

// States of the reader, as it traces them.
constexpr int kBeforeParameterName = 1;
constexpr int kBeforeParameterValue = 3;

// Character sets, as it traces them.
constexpr int kUnknownCharset = 1;
constexpr int kLatin2 = 4;

constexpr std::string_view kPropertyLine = "\tProperty name = [";
constexpr std::string_view kCharacterCode = ", code of char: ";

/// The number behind the last such label, 0 when there is none.
int numberBehind(std::string_view text, std::string_view label) {
  const std::size_t at = text.rfind(label);
  int number = 0;
  if (at == std::string_view::npos) return number;
  const std::string_view digits = text.substr(at + label.size());
  std::from_chars(digits.data(), digits.data() + digits.size(), number);
  return number;
}

}  // namespace

ReadingTrace::ReadingTrace() { addLogSink(this); }

ReadingTrace::~ReadingTrace() { removeLogSink(this); }

void ReadingTrace::write(const LogLine& line) {
  if (line.component == "Storage") {
    m_pictureRefusal = line.text;
  } else if (line.component == "VCARD Parser") {
    writeReader(line.text);
  }
}

void ReadingTrace::writeReader(std::string_view text) {
  if (text.starts_with(kPropertyLine)) {
    m_property = text.substr(kPropertyLine.size(), text.rfind(']') - kPropertyLine.size());
    m_charset = 0;
  } else if (text == "\tNo BEGIN specified") {
    m_noBegin = true;
  } else if (text == "\tParser: Base64 format error") {
    m_badBase64 = true;
  } else if (text.starts_with("\tcharset: ")) {
    m_charset = numberBehind(text, "\tcharset: ");
  } else if (text.starts_with("\tl_utf8_data is not valid UTF8 string")) {
    m_cutTexts += 1;
  } else if (text.find(kCharacterCode) != std::string_view::npos) {
    m_character = numberBehind(text, kCharacterCode);
    m_state = numberBehind(text, ", state ");
  }
}

std::string ReadingTrace::property() const {
  return "the property " + cards::safeText(m_property, kMaxShown);
}

std::string ReadingTrace::reason() const {
  if (!m_pictureRefusal.empty()) {
    return "its picture can't be stored (" + cards::safeText(m_pictureRefusal, 400) + ")";
  }
  if (m_badBase64) return "the BASE64 data of " + property() + " is damaged";
  if (m_noBegin) return property() + " stands outside of BEGIN:VCARD and END:VCARD";
  const bool emptyName = m_state == kBeforeParameterName && m_character == ':';
  const bool emptyValue =
      m_state == kBeforeParameterValue && (m_character == ':' || m_character == ';');
  if (emptyName || emptyValue) {
    return m_property.empty() ? "a parameter of its first property is empty"
                              : "a parameter is empty, of what follows " + property();
  }
  if (::strcasecmp(m_property.c_str(), "BEGIN") == 0) {
    return "it begins something that is no VCARD";
  }
  if (m_charset == kUnknownCharset || m_charset == kLatin2) {
    return property() +
           " is in a character set that the phone can't read (it reads UTF-8 and "
           "ISO-8859-1)";
  }
  return m_property.empty() ? "the reader doesn't say why"
                            : "the reader doesn't say why; it came as far as " + property();
}

}  // namespace contacts
