#pragma once

#include <cstddef>
#include <string_view>

namespace host {

/// Looks through a request before the XML reader gets it, in one pass: bounds what the reader can
/// be made to build, and refuses what the reader would silently drop, cut or misread.
///
/// What passes has no NUL, no comment, CDATA section, document type or processing instruction, at
/// most `kMaxTags` tags of at most `kMaxTagBytes` bytes, and only references that name one
/// character: amp, lt, gt, quot, apos, and numbers of characters that exist, zero excepted.
///
/// Threads: any; one object serves one text.
class XmlGate {
 public:
  /// The largest card that is taken may be made of nothing but quotation marks, each of which
  /// becomes six bytes: 24 MiB, and some room.
  static constexpr std::size_t kMaxBytes = std::size_t{32} << 20;
  /// A request with every element there is has fewer than forty.
  static constexpr std::size_t kMaxTags = 256;
  static constexpr std::size_t kMaxTagBytes = 1024;

  /// Throws DirectoryRefusal when the text doesn't pass.
  static void check(std::string_view text);

 private:
  explicit XmlGate(std::string_view text) : m_text(text) {}

  void checkAll();
  void passTag();
  void passReference();

  const std::string_view m_text;
  std::size_t m_at = 0;
  std::size_t m_tags = 0;
};

}  // namespace host
