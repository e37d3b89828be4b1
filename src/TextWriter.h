#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "TextScan.h"

/// Appends many small pieces to a string. Pieces are buffered, so that the string grows in few
/// large steps: it is complete only after `flush`.
///
/// Not thread-safe. The string must outlive the writer and must not change until `flush`. Throws
/// std::bad_alloc.
class TextWriter {
 public:
  explicit TextWriter(std::string& text) : m_text(text) {}
  ~TextWriter() = default;
  TextWriter(const TextWriter&) = delete;
  TextWriter& operator=(const TextWriter&) = delete;

  void add(std::string_view text) {
    if (text.size() > kRoom) {
      flush();
      m_text.append(text);
      return;
    }
    std::memcpy(makeRoom(text.size()), text.data(), text.size());
    take(text.size());
  }

  /// Returns where to write up to `bytes` bytes (at most `kRoom`). `take` then adds those written.
  char* makeRoom(std::size_t bytes) {
    if (kRoom - m_size < bytes) flush();
    return m_collected.data() + m_size;
  }
  void take(std::size_t bytes) { m_size += bytes; }

  void flush() {
    m_text.append(m_collected.data(), m_size);
    m_size = 0;
  }

  static constexpr std::size_t kRoom = 1024;

 private:
  std::string& m_text;
  std::size_t m_size = 0;
  std::array<char, kRoom> m_collected;
};

/// Start and end tag of an XML element, built at compile time.
class XmlTag {
 public:
  /// Longest end tag.
  static constexpr std::size_t kMaxSize = 16;

  /// A name of more than 13 characters doesn't compile.
  consteval explicit XmlTag(std::string_view name)
      : m_openSize(name.size() + 2), m_closeSize(name.size() + 3) {
    fill(m_open, "<", name);
    fill(m_close, "</", name);
  }

 private:
  friend class XmlWriter;
  using Text = std::array<char, kMaxSize>;

  static consteval void fill(Text& text, std::string_view bracket, std::string_view name) {
    std::size_t size = 0;
    for (char c : bracket) text.at(size++) = c;
    for (char c : name) text.at(size++) = c;
    text.at(size) = '>';
  }

  Text m_open{};
  Text m_close{};
  std::size_t m_openSize;
  std::size_t m_closeSize;
};

/// Writes XML in linear time and memory. Not thread-safe; `out` must outlive the writer. Throws
/// std::bad_alloc.
class XmlWriter {
 public:
  explicit XmlWriter(TextWriter& out) : m_out(out) {}

  /// Adds text without escaping.
  void add(std::string_view text) { m_out.add(text); }
  /// Adds text with & < > ' " replaced by entities.
  void addEscaped(std::string_view text);
  /// Adds an element with an escaped value, or nothing if the value is empty.
  void addElement(const XmlTag& tag, std::string_view value);

 private:
  std::size_t addPlainWords(std::string_view text);
  void escapeEach(const char* in, std::size_t count);

  TextWriter& m_out;
};

namespace xml_detail {

/// Number of characters that are searched together and copied if none needs escaping.
inline constexpr std::size_t kBlock = 64;
inline constexpr std::size_t kLongestEntity = 6;

/// A character or its entity. Copied as eight bytes, of which `size` count.
struct Replacement {
  std::array<char, 8> text;
  std::uint8_t size;
};

inline constexpr std::array<Replacement, 256> kReplacements = [] {
  std::array<Replacement, 256> all{};
  for (std::size_t i = 0; i < all.size(); ++i) all[i] = {{static_cast<char>(i)}, 1};
  const auto replace = [&](char c, std::string_view entity) {
    Replacement& replacement = all[static_cast<unsigned char>(c)];
    replacement.size = static_cast<std::uint8_t>(entity.size());
    for (std::size_t i = 0; i < entity.size(); ++i) replacement.text[i] = entity[i];
  };
  replace('&', "&amp;");
  replace('<', "&lt;");
  replace('>', "&gt;");
  replace('\'', "&apos;");
  replace('"', "&quot;");
  return all;
}();

/// Marks the five characters to escape.
constexpr textscan::Word marksOfSpecial(textscan::Word word) {
  // Pairs that differ in one bit: & and ', " and &, < and >.
  return textscan::Marks(word).of('\'', 1).of('&', 4).of('>', 2).marked();
}

/// Whether a block may contain a character to escape; # $ % and = also count. Has no branches, so
/// that the compiler vectorizes it.
inline bool mayHaveSpecial(const char* in) {
  unsigned char found = 0;
  for (std::size_t i = 0; i < kBlock; ++i) {
    const auto c = static_cast<unsigned char>(in[i]);
    const bool isQuote = static_cast<unsigned char>(c - '"') <= '\'' - '"';
    const bool isBracket = static_cast<unsigned char>(c - '<') <= '>' - '<';
    found = static_cast<unsigned char>(found | isQuote | isBracket);
  }
  return found != 0;
}

/// Size of the leading whole blocks that need no escaping.
inline std::size_t plainBlocks(std::string_view text) {
  std::size_t plain = 0;
  while (text.size() - plain >= kBlock && !mayHaveSpecial(text.data() + plain)) plain += kBlock;
  return plain;
}

}  // namespace xml_detail

inline void XmlWriter::escapeEach(const char* in, std::size_t count) {
  char* out =
      m_out.makeRoom(count * xml_detail::kLongestEntity + sizeof(xml_detail::Replacement::text));
  char* const begin = out;
  for (const char* const end = in + count; in < end; ++in) {
    const xml_detail::Replacement& replacement =
        xml_detail::kReplacements[static_cast<unsigned char>(*in)];
    std::memcpy(out, replacement.text.data(), sizeof replacement.text);
    out += replacement.size;
  }
  m_out.take(static_cast<std::size_t>(out - begin));
}

inline void XmlWriter::addEscaped(std::string_view text) {
  while (text.size() >= xml_detail::kBlock) {
    const std::size_t plain = xml_detail::plainBlocks(text);
    add(text.substr(0, plain));
    text.remove_prefix(plain);
    if (text.size() < xml_detail::kBlock) break;
    escapeEach(text.data(), xml_detail::kBlock);
    text.remove_prefix(xml_detail::kBlock);
  }
  const std::size_t plain = addPlainWords(text);
  escapeEach(text.data() + plain, text.size() - plain);
}

/// Copies the start of a text shorter than a block, up to the first word with a character to
/// escape. Returns the number of characters copied.
inline std::size_t XmlWriter::addPlainWords(std::string_view text) {
  using textscan::kWordSize;
  if (text.size() < kWordSize) return 0;
  const auto isPlain = [&](std::size_t at) {
    return xml_detail::marksOfSpecial(textscan::load(text.data() + at)) == 0;
  };
  char* const out = m_out.makeRoom(xml_detail::kBlock);
  const std::size_t last = text.size() - kWordSize;
  std::size_t plain = 0;
  while (plain <= last && isPlain(plain)) {
    std::memcpy(out + plain, text.data() + plain, kWordSize);
    plain += kWordSize;
  }
  // The last word may overlap the one before.
  if (plain > last && plain < text.size() && isPlain(last)) {
    std::memcpy(out + last, text.data() + last, kWordSize);
    plain = text.size();
  }
  m_out.take(plain);
  return plain;
}

inline void XmlWriter::addElement(const XmlTag& tag, std::string_view value) {
  if (value.empty()) return;
  std::memcpy(m_out.makeRoom(XmlTag::kMaxSize), tag.m_open.data(), XmlTag::kMaxSize);
  m_out.take(tag.m_openSize);
  addEscaped(value);
  std::memcpy(m_out.makeRoom(XmlTag::kMaxSize), tag.m_close.data(), XmlTag::kMaxSize);
  m_out.take(tag.m_closeSize);
}
