#pragma once

#include <unistd.h>

#include <cerrno>
#include <utility>

namespace framework_detail {

/// Owns one file descriptor, or none. Closing leaves `errno` alone, so that a caller can still tell
/// why the call before it failed.
class StorageDescriptor {
 public:
  StorageDescriptor() = default;
  explicit StorageDescriptor(int descriptor) noexcept : m_descriptor(descriptor) {}
  StorageDescriptor(StorageDescriptor&& other) noexcept : m_descriptor(other.release()) {}
  StorageDescriptor& operator=(StorageDescriptor&& other) noexcept {
    reset(other.release());
    return *this;
  }
  StorageDescriptor(const StorageDescriptor&) = delete;
  StorageDescriptor& operator=(const StorageDescriptor&) = delete;
  ~StorageDescriptor() { reset(); }

  explicit operator bool() const noexcept { return m_descriptor >= 0; }
  int get() const noexcept { return m_descriptor; }
  int release() noexcept { return std::exchange(m_descriptor, -1); }

  void reset(int descriptor = -1) noexcept {
    const int old = std::exchange(m_descriptor, descriptor);
    if (old < 0) return;
    const int error = errno;
    ::close(old);
    errno = error;
  }

 private:
  int m_descriptor = -1;
};

}  // namespace framework_detail
