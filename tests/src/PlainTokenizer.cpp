#include "tests/src/PlainTokenizer.h"

#include <strings.h>

#include <cstdio>

namespace test {

namespace {

bool isWhite(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

bool same(const std::string& a, const char* b) { return strcasecmp(a.c_str(), b) == 0; }

/// The value of a BASE64 character; none for other characters.
std::optional<int> ordinal(char c) {
  const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  const std::size_t place = alphabet.find(c);
  if (place == std::string::npos) return std::nullopt;
  return static_cast<int>(place);
}

}  // namespace

bool PlainTokenizer::parse(std::string_view bytes) {
  for (const char c : bytes) {
    if (!(m_atLineStart ? atLineStart(c) : inLine(c))) return false;
  }
  trace("\tParser: TERMINATE parsing");
  return process('\n');
}

bool PlainTokenizer::atLineStart(char c) {
  if (c == '\n') {
    if (m_state != State::PropData || m_encoding != Encoding::Base64) return true;
    trace("\tParser: It might be ending of Based64 data block...");
    if (!process('\n')) {
      trace("\tParser: Terminating block failed");
      return false;
    }
  }
  if (!m_foldSeen && isWhite(c)) {
    m_foldSeen = true;
    return true;
  }
  m_atLineStart = false;
  if (m_foldSeen) {
    if (m_encoding == Encoding::QuotedPrintable) m_qpEscape = false;
    if (!process(' ')) return false;
  } else {
    if (!process('\n')) return false;
  }
  return inLine(c);
}

bool PlainTokenizer::inLine(char c) {
  if (c != '\n') return process(c);
  m_atLineStart = true;
  m_foldSeen = false;
  return true;
}

bool PlainTokenizer::process(char c) {
  if (m_keepsLog) {
    trace(std::string("\tvcardProcessCharacter char: ") + c +
          ", code of char: " + std::to_string(static_cast<unsigned char>(c)) + ", state " +
          std::to_string(static_cast<int>(m_state)) + "\n");
  }
  switch (m_state) {
    case State::PropName:
      return propName(c);
    case State::ParamBN:
      return paramBN(c);
    case State::ParamIN:
      return paramIN(c);
    case State::ParamBV:
      return paramBV(c);
    case State::ParamIV:
      return paramIV(c);
    case State::PropData:
      return propData(c);
  }
  return true;
}

bool PlainTokenizer::propName(char c) {
  if (c == '\r') return true;
  if (c == '\n') return reset();
  if (c == ':') return propertyEnd();
  if (c == ';') return append('\0', State::ParamBN);
  if (isWhite(c)) return true;
  return append(c);
}

bool PlainTokenizer::paramBN(char c) {
  if (c == ':') return fail();
  if (isWhite(c)) return true;
  m_places.push_back({m_line.size(), 0});
  return append(c, State::ParamIN);
}

bool PlainTokenizer::paramIN(char c) {
  if (c == ';') return append('\0', State::ParamBN);
  if (c == ':') return propertyEnd();
  if (c == '=') return append('\0', State::ParamBV);
  if (isWhite(c)) return true;
  return append(c);
}

bool PlainTokenizer::paramBV(char c) {
  if (c == ':' || c == ';') return fail();
  if (isWhite(c)) return true;
  m_places.back().value = m_line.size();
  return append(c, State::ParamIV);
}

bool PlainTokenizer::paramIV(char c) {
  if (c == ':') return propertyEnd() || true;
  if (c == ';' && !m_escapeSeen) return append('\0', State::ParamBN);
  if (c == ';') return appendEscaped(';');
  if (isWhite(c)) return true;
  if (c == '\\' && !m_escapeSeen) return m_escapeSeen = true;
  if (c == '\\') return appendEscaped('\\');
  return append(c);
}

bool PlainTokenizer::propertyEnd() {
  append('\0');
  std::string name = textAt(0);
  const std::size_t dot = name.find('.');
  if (dot != std::string::npos) {
    m_line[dot] = '\0';
    if (!onGroup(name.substr(0, dot))) return false;
    name = name.substr(dot + 1);
  }
  readEncoding();
  const std::vector<PropertyParameter> list = parameters();
  m_places.push_back({kListEnd, 0});
  if (!onProperty(name, list)) return false;
  m_state = State::PropData;
  m_line.clear();
  return true;
}

void PlainTokenizer::readEncoding() {
  for (const Place& place : m_places) {
    if (place.name == kListEnd) continue;
    const PropertyParameter parameter = parameterAt(place);
    const bool named = same(parameter.name, "ENCODING");
    if (named && !parameter.value) continue;
    const std::string& examined = named ? *parameter.value : parameter.name;
    if (same(examined, "QUOTED-PRINTABLE")) m_encoding = Encoding::QuotedPrintable;
    if (same(examined, "BASE64")) m_encoding = Encoding::Base64;
    if (same(examined, "8BIT")) m_encoding = Encoding::EightBit;
  }
}

std::vector<PropertyParameter> PlainTokenizer::parameters() const {
  std::vector<PropertyParameter> list;
  for (const Place& place : m_places) {
    if (place.name == kListEnd) break;
    list.push_back(parameterAt(place));
  }
  return list;
}

PropertyParameter PlainTokenizer::parameterAt(const Place& place) const {
  PropertyParameter parameter{textAt(place.name), std::nullopt};
  if (place.value != 0) parameter.value = textAt(place.value);
  return parameter;
}

std::string PlainTokenizer::textAt(std::size_t place) const {
  return m_line.substr(place, m_line.find('\0', place) - place);
}

bool PlainTokenizer::propData(char c) {
  if (c == '\n') return endOfData();
  if (c == '\r') return true;
  if (m_startOfData && isWhite(c)) {
    trace("\tParser: StartOfData");
    return true;
  }
  m_startOfData = false;
  if (m_encoding == Encoding::QuotedPrintable) return quotedPrintable(c);
  if (m_encoding == Encoding::Base64) return base64(c);
  return append(c);
}

bool PlainTokenizer::quotedPrintable(char c) {
  if (!m_qpEscape && c != '=') return append(c);
  if (!m_qpEscape) {
    m_pending.clear();
    return m_qpEscape = true;
  }
  // A zero byte does not count as the first digit.
  if (m_pending.empty() && c == '\0') return true;
  m_pending += c;
  if (m_pending.size() < 2) return true;
  unsigned int value = 0;
  static_cast<void>(std::sscanf(m_pending.c_str(), "%X", &value));
  m_qpEscape = false;
  return append(static_cast<char>(value & 0xff));
}

bool PlainTokenizer::base64(char c) {
  if (isWhite(c)) return true;
  m_pending += c;
  return m_pending.size() < 4 || base64Quartet();
}

bool PlainTokenizer::base64Quartet() {
  const auto wrong = [this] { return trace("\tParser: Base64 format error"), false; };
  const std::optional<int> a = ordinal(m_pending[0]);
  const std::optional<int> b = ordinal(m_pending[1]);
  const std::optional<int> c = ordinal(m_pending[2]);
  const std::optional<int> d = ordinal(m_pending[3]);
  if (!a || !b) return wrong();
  append(static_cast<char>((*a << 2) | (*b >> 4)));
  if (m_pending[2] != '=') {
    if (!c) return wrong();
    append(static_cast<char>(((*b & 15) << 4) | (*c >> 2)));
    if (m_pending[3] != '=') {
      if (!d) return wrong();
      append(static_cast<char>(((*c & 3) << 6) | *d));
    }
  }
  m_pending.clear();
  return true;
}

bool PlainTokenizer::endOfData() {
  while (m_encoding == Encoding::Base64 && !m_pending.empty()) {
    if (!process('=')) {
      trace("\tParser: Process char error");
      return false;
    }
  }
  if (m_encoding == Encoding::QuotedPrintable && m_qpEscape && m_pending.empty()) {
    trace("\tencoding Qp, but got end of line, ignoring this = and continuing");
    m_qpEscape = false;
    return true;
  }
  if (!m_line.empty()) {
    trace("\tParser: Terminate string");
    if (!onData(m_line)) return false;
  }
  trace("\tParser: Terminate data");
  if (onEnd()) return reset();
  trace("\tParser: Terminating data error");
  return false;
}

bool PlainTokenizer::reset() {
  m_line.clear();
  m_state = State::PropName;
  m_startOfData = true;
  m_places.clear();
  m_escapeSeen = false;
  m_encoding = Encoding::None;
  m_qpEscape = false;
  m_pending.clear();
  return true;
}

bool PlainTokenizer::fail() {
  reset();
  return false;
}

bool PlainTokenizer::appendEscaped(char c) {
  m_escapeSeen = false;
  return append(c);
}

bool PlainTokenizer::append(char c) {
  m_line += c;
  return true;
}

bool PlainTokenizer::append(char c, State next) {
  m_state = next;
  return append(c);
}

void PlainTokenizer::trace(const std::string& text) { write("CARDCAL_Parser", kLogTrace, text); }

void PlainTokenizer::write(const std::string& source, int level, const std::string& text) {
  if (m_keepsLog) m_log.push_back({"VCARD Parser", source, level, text});
}

}  // namespace test
