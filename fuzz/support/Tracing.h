#pragma once

#include <atomic>
#include <cstddef>

#include "framework/Logging.h"
#include "fuzz/support/Contract.h"

namespace fuzz {

/// Turns tracing on during its lifetime; checks and counts the lines. One at a time.
class Tracing : public LogSink {
 public:
  Tracing() {
    addLogSink(this);
    setLogLevel(kLogTrace);
  }
  ~Tracing() override {
    setLogLevel(kLogError);
    removeLogSink(this);
  }
  Tracing(const Tracing&) = delete;
  Tracing& operator=(const Tracing&) = delete;

  void write(const LogLine& line) override {
    require(!line.component.empty() && !line.source.empty(),
            "a log line has a component and a source");
    require(line.level == kLogError || line.level == kLogTrace,
            "a log line is an error or a trace");
    ++m_lines;
  }
  [[nodiscard]] std::size_t lines() const { return m_lines; }

 private:
  std::atomic<std::size_t> m_lines = 0;
};

}  // namespace fuzz
