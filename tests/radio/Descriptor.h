#pragma once

#include <unistd.h>

#include <utility>

namespace radiotest {

/// Owns a file descriptor.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int fd) : m_fd(fd) {}
  Descriptor(Descriptor&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(m_fd, other.m_fd);
    return *this;
  }
  ~Descriptor() { close(); }

  int get() const { return m_fd; }
  int release() { return std::exchange(m_fd, -1); }
  void close() {
    if (m_fd >= 0) ::close(release());
  }

 private:
  int m_fd = -1;
};

}  // namespace radiotest
