#pragma once

#include <array>
#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>

/// Appends many small pieces to a text, which has all of them after `flush`: they are collected
/// first, so that the text grows by few large steps.
///
/// Threads: one writer belongs to one thread. The text is the caller's and isn't to be touched
/// meanwhile. std::bad_alloc passes through.
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

  /// Where to write the next `bytes` bytes, `kRoom` at most. Only what is taken then counts.
  char* makeRoom(std::size_t bytes) {
    if (kRoom - m_size < bytes) flush();
    return m_collected.data() + m_size;
  }
  void take(std::size_t bytes) { m_size += bytes; }

  /// Hands on what was collected.
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
