#pragma once

#include <cerrno>
#include <exception>

namespace framework_detail {

/// Why a write was refused: a sentence, and the system's error number where it gave one.
///
/// Never leaves `Storage`. Holds only constant text, so that it can be thrown without memory.
class StorageError : public std::exception {
 public:
  explicit StorageError(const char* text, int error = 0) noexcept : m_text(text), m_error(error) {}

  const char* what() const noexcept override { return m_text; }
  int error() const noexcept { return m_error; }

 private:
  const char* m_text;
  int m_error;
};

}  // namespace framework_detail
