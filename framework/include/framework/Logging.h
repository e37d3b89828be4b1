#pragma once

#include <atomic>
#include <string_view>

#include "framework/Export.h"

/// The telephone's log. A line has a component ("OBEX Service"), a source file, a level, a source
/// line and a text, and goes to all registered sinks.
///
/// Threads: any thread may call everything here.

/// Levels. Lines above the level set with `setLogLevel` are not wanted.
inline constexpr int kLogError = 2;
inline constexpr int kLogInfo = 4;
inline constexpr int kLogTrace = 5;

namespace framework_detail {
FRAMEWORK_API extern std::atomic<int> logLevel;
}

/// Returns whether lines of this level are wanted. Costs one relaxed load.
inline bool loggingOnAppUni(const char* component, int level) {
  static_cast<void>(component);
  return level <= framework_detail::logLevel.load(std::memory_order_relaxed);
}

/// Writes one line to all sinks, whatever its level: call `loggingOnAppUni` first for trace lines.
/// `format` is that of printf(3). Component, source and text are passed on unchanged, including
/// control characters. Never throws; if memory runs out, the line is dropped. Keeps errno.
FRAMEWORK_API void logAppUni(const char* component, const char* source, int level, int line,
                             const char* format, ...) __attribute__((format(printf, 5, 6)));

/// Sets the highest level that is wanted; `kLogError` by default.
FRAMEWORK_API void setLogLevel(int level);

/// A log line. The views are valid during `LogSink::write` only.
struct LogLine {
  std::string_view component;
  std::string_view source;
  int level;
  int line;
  std::string_view text;
};

/// Receives log lines. `write` is called on the thread that logs, by one thread at a time; it must
/// not log. If it throws, the line is lost to this sink.
class FRAMEWORK_API LogSink {
 public:
  virtual ~LogSink() = default;
  virtual void write(const LogLine& line) = 0;

 protected:
  LogSink() = default;
  LogSink(const LogSink&) = default;
  LogSink& operator=(const LogSink&) = default;
};

/// Registers a sink, which the caller keeps owning. One added twice gets every line twice.
FRAMEWORK_API void addLogSink(LogSink* sink);
/// Removes a sink, however often it was added, and returns once no line is being written to it any
/// more. Ignores a sink that isn't registered.
FRAMEWORK_API void removeLogSink(LogSink* sink);
