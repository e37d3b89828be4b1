#include "cards/VCardSplitter.h"

#include <algorithm>
#include <string>

namespace cards {

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view kWhiteSpace = " \t\r\n\v\f";

bool isWhite(char c) { return kWhiteSpace.find(c) != std::string_view::npos; }

bool isBlank(std::string_view text) { return std::all_of(text.begin(), text.end(), isWhite); }

char upper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

/// "BEGIN" or "END" for a logical line BEGIN:VCARD or END:VCARD, otherwise "".
std::string_view boundaryIn(std::string_view line) {
  constexpr std::size_t kLongestBoundary = 1000;
  if (line.size() > kLongestBoundary) return {};
  std::string bare;
  for (const char c : line) {
    if (!isWhite(c)) bare += upper(c);
  }
  const std::size_t colon = bare.find(':');
  if (colon == std::string::npos || bare.substr(colon + 1) != "VCARD") return {};
  std::string name = bare.substr(0, std::min(colon, bare.find(';')));
  name.erase(0, name.find('.') + 1);
  if (name == "BEGIN") return "BEGIN";
  return name == "END" ? "END" : "";
}

class Splitter {
 public:
  explicit Splitter(std::string_view text) : m_text(text) {}

  std::vector<CardSlice> split() {
    while (m_at < m_text.size()) {
      const std::size_t start = m_at;
      const std::size_t line = m_line;
      const std::string_view boundary = boundaryIn(takeLogicalLine());
      if (boundary == "BEGIN" && m_begins == 0) finishSlice(start, line);
      if (boundary == "BEGIN") m_begins += 1;
      if (boundary == "END") finishSlice(m_at, m_line);
    }
    finishSlice(m_at, m_line);
    return std::move(m_cards);
  }

 private:
  std::string_view takeLogicalLine() {
    const std::size_t start = m_at;
    const std::string_view first = takeLine();
    // A blank line can't be continued, and a continuation needs a line before it.
    if (isBlank(first) || isWhite(first.front())) return {};
    while (m_at < m_text.size() && (m_text[m_at] == ' ' || m_text[m_at] == '\t')) takeLine();
    return m_text.substr(start, m_at - start);
  }

  std::string_view takeLine() {
    const std::size_t start = m_at;
    const std::size_t end = m_text.find_first_of("\r\n", start);
    m_at = end == std::string_view::npos ? m_text.size() : end + 1;
    if (end != std::string_view::npos && m_text.substr(end, 2) == "\r\n") m_at += 1;
    if (m_start == start && isBlank(m_text.substr(start, m_at - start))) {
      // Skips blank lines between cards.
      m_start = m_at;
      m_startLine = m_line + 1;
    }
    m_line += 1;
    return m_text.substr(start, m_at - start);
  }

  /// Emits the text up to `end`, at line `endLine`, as a slice.
  void finishSlice(std::size_t end, std::size_t endLine) {
    const std::string_view text = m_text.substr(m_start, end - m_start);
    if (!isBlank(text)) m_cards.push_back({text, m_startLine, m_begins});
    m_start = end;
    m_startLine = endLine;
    m_begins = 0;
  }

  const std::string_view m_text;
  std::vector<CardSlice> m_cards;
  std::size_t m_at = 0;
  std::size_t m_line = 1;   ///< line number of `m_at`
  std::size_t m_start = 0;  ///< of the current slice
  std::size_t m_startLine = 1;
  std::size_t m_begins = 0;
};

}  // namespace

std::vector<CardSlice> splitCards(std::string_view text) {
  if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
  return Splitter(text).split();
}

}  // namespace cards
