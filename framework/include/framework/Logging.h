#pragma once

#include <atomic>
#include <string_view>

#include "framework/Export.h"

/// The telephone's log. Every line has a component ("OBEX Service"), the name of its source file, a
/// level, its source line and a text. Lines go to every registered sink; without one they are
/// dropped.
///
/// Threads: everything here may be called from any thread.

/// The levels in use. A line is wanted when its level is not above the one that `setLogLevel` set.
inline constexpr int kLogError = 2;
inline constexpr int kLogInfo = 4;
inline constexpr int kLogTrace = 5;

namespace framework_detail {
FRAMEWORK_API extern std::atomic<int> logLevel;
}

/// Whether trace lines of this component and level are wanted. Cheap: one relaxed load.
inline bool loggingOnAppUni(const char* component, int level) {
  static_cast<void>(component);
  return level <= framework_detail::logLevel.load(std::memory_order_relaxed);
}

/// Writes one line to every sink, whatever the level: who writes trace lines asks `loggingOnAppUni`
/// first. The text is formatted as by `printf`; component, source and text reach the sinks
/// unchanged, line ends and control characters included. No exception leaves it: a line for which
/// there is no memory is dropped.
FRAMEWORK_API void logAppUni(const char* component, const char* source, int level, int line,
                             const char* format, ...) __attribute__((format(printf, 5, 6)));

/// From now on lines up to this level are wanted. The default is `kLogError`.
FRAMEWORK_API void setLogLevel(int level);

/// One line, as a sink sees it. The views are valid during the call.
struct LogLine {
  std::string_view component;
  std::string_view source;
  int level;
  int line;
  std::string_view text;
};

/// Takes log lines. `write` is called by one thread at a time, from whichever thread logs; it must
/// not log itself and no exception may leave it.
class FRAMEWORK_API LogSink {
 public:
  virtual ~LogSink() = default;
  virtual void write(const LogLine& line) = 0;

 protected:
  LogSink() = default;
  LogSink(const LogSink&) = default;
  LogSink& operator=(const LogSink&) = default;
};

/// Registers a sink, which stays the caller's. Adding one twice gives it every line twice.
FRAMEWORK_API void addLogSink(LogSink* sink);
/// Takes a sink off, however often it was added; returns when no line is being written to it any
/// more. One that isn't registered is ignored.
FRAMEWORK_API void removeLogSink(LogSink* sink);
