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
///
/// A file is readable by its owner only. Before it would grow beyond its size it is moved aside
/// ("phone.log" to "phone.1.log", that to "phone.2.log", ...) and begun anew, and what is beyond
/// the number of files is removed. A device or a pipe is only written to.
///
/// Lines that can't be written later on, on a full disk say, are lost, and hurt no one: that is
/// told once on standard error, and their number in the file when it can be written again.
class FRAMEWORK_API LogOutput : public LogSink {
 public:
  static constexpr int kLinesPerSecond = 10;
  /// Longer texts are cut, with a note of how much is missing.
  static constexpr std::size_t kMaxText = 4096;

  /// How large a file becomes, and how many there are, the one that is written included.
  static constexpr std::size_t kFileBytes = std::size_t{10} << 20;
  static constexpr std::size_t kFiles = 5;

  /// Writes to standard error.
  LogOutput();
  /// Appends to a file; `bytes` and `files` are at least 1. Throws std::runtime_error with a
  /// sentence for the user when it can't be opened.
  explicit LogOutput(const std::string& path, std::size_t bytes = kFileBytes,
                     std::size_t files = kFiles);
  ~LogOutput() override;
  LogOutput(const LogOutput&) = delete;
  LogOutput& operator=(const LogOutput&) = delete;

  void write(const LogLine& line) override;

 private:
  class Impl;
  std::unique_ptr<Impl> m_impl;
};
