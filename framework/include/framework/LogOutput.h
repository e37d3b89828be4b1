#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "framework/Export.h"
#include "framework/Logging.h"

/// A log sink that writes to standard error or to a file, one line each with time, level and place.
///
/// Control characters, backslashes and bytes that are not UTF-8 are escaped (`\n`, `\x1b`), so that
/// text pushed by a stranger can't forge a line or control a terminal.
///
/// A place (component, source, line) may log `kLinesPerSecond` lines a second. If it logs more, its
/// further lines are counted instead, until it has kept below that rate for ten seconds. The count
/// is written after one second, then every minute, and when the output is closed: "… 11880 more
/// lines like this in the last 60 s".
///
/// A log file is readable by its owner only. Before it exceeds its size it is rotated: "phone.log"
/// becomes "phone.1.log", that one "phone.2.log", and so on; the oldest one is deleted. Devices and
/// pipes are not rotated.
///
/// Unwritable lines (full disk) are dropped; the first failure goes to stderr, the count to the log
/// once writing works again.
///
/// Threads: any thread may call `write`.
class FRAMEWORK_API LogOutput : public LogSink {
 public:
  static constexpr int kLinesPerSecond = 10;
  /// Bytes. Longer texts are cut, with a note of how much is missing.
  static constexpr std::size_t kMaxText = 4096;

  /// Default size of a log file in bytes, and default number of files including the current one.
  static constexpr std::size_t kFileBytes = std::size_t{10} << 20;
  static constexpr std::size_t kFiles = 5;

  /// Writes to standard error.
  LogOutput();
  /// Appends to a file. `bytes` and `files` must be at least 1. Throws std::runtime_error with a
  /// message for the user if the file can't be opened.
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
