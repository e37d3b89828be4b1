#pragma once

#include <cerrno>

namespace framework_detail {

/// Why a write was refused: a sentence, and the system's error number where it gave one.
///
/// Thrown to and caught by `Storage` alone, often when something has run out: so it holds constant
/// text, and isn't a std::exception, whose virtual functions a sanitizer checks with descriptors.
class StorageError {
 public:
  explicit StorageError(const char* text, int error = 0) noexcept : m_text(text), m_error(error) {}

  const char* text() const noexcept { return m_text; }
  int error() const noexcept { return m_error; }

 private:
  const char* m_text;
  int m_error;
};

}  // namespace framework_detail
