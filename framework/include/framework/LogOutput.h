#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "framework/Export.h"
#include "framework/Logging.h"

/// The sink for people: writes log lines to standard error or to a file, with time, level and
/// place.
///
/// Control characters are shown escaped (`\n`, `\x1b`), so that text pushed by a stranger can
/// neither forge a line nor steer a terminal. Of one place (component, source, line) at most
/// `kLinesPerSecond` lines a second are written; the rest is counted and told in one summary line
/// when the second is over or the output is closed.
class FRAMEWORK_API LogOutput : public LogSink {
 public:
  static constexpr int kLinesPerSecond = 10;
  /// Longer texts are cut, with a note of how much is missing.
  static constexpr std::size_t kMaxText = 4096;

  /// Writes to standard error.
  LogOutput();
  /// Appends to a file. Throws std::runtime_error with a sentence for the user when it can't be
  /// opened.
  explicit LogOutput(const std::string& path);
  ~LogOutput() override;
  LogOutput(const LogOutput&) = delete;
  LogOutput& operator=(const LogOutput&) = delete;

  void write(const LogLine& line) override;

 private:
  class Impl;
  std::unique_ptr<Impl> m_impl;
};
