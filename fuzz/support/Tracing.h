#pragma once

#include <atomic>
#include <cstddef>

#include "framework/Logging.h"

namespace fuzz {

/// Traces are wanted while it lives; their lines are counted and thrown away. One at a time.
class Tracing : public LogSink {
 public:
  Tracing();
  ~Tracing() override;
  Tracing(const Tracing&) = delete;
  Tracing& operator=(const Tracing&) = delete;

  void write(const LogLine& line) override;
  [[nodiscard]] std::size_t lines() const { return m_lines; }

 private:
  std::atomic<std::size_t> m_lines = 0;
};

}  // namespace fuzz
