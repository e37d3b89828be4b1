#include "framework/Logging.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <string>
#include <vector>

namespace framework_detail {
std::atomic<int> logLevel{kLogError};
}

namespace {

struct Sinks {
  std::mutex mutex;
  std::vector<LogSink*> all;  // guarded by mutex
};

// Never destroyed: threads may log while the process exits.
Sinks& sinks() {
  static auto* const instance = new Sinks;
  return *instance;
}

std::string_view viewOf(const char* text) { return text == nullptr ? "(null)" : text; }

void writeToSinks(const LogLine& line) {
  Sinks& registered = sinks();
  const std::lock_guard lock(registered.mutex);
  for (LogSink* sink : registered.all) {
    try {
      sink->write(line);
    } catch (...) {
      // The line is lost to this sink only.
    }
  }
}

// Lines up to this size are formatted on the stack, without allocating.
constexpr std::size_t kStackText = 1024;

void formatAndWrite(LogLine line, const char* format, va_list arguments) {
  std::va_list again;
  va_copy(again, arguments);
  std::array<char, kStackText> buffer;
  const int wanted = std::vsnprintf(buffer.data(), buffer.size(), format, arguments);
  try {
    const auto length = static_cast<std::size_t>(wanted);
    if (wanted < 0) {
      // Can't be formatted: too long, or an invalid wide character.
      line.text = format;
      writeToSinks(line);
    } else if (length < buffer.size()) {
      line.text = {buffer.data(), length};
      writeToSinks(line);
    } else {
      std::string text(length, '\0');
      const int written = std::vsnprintf(text.data(), length + 1, format, again);
      // Another thread may have changed an argument: never show bytes that weren't written.
      text.resize(std::min(length, static_cast<std::size_t>(std::max(written, 0))));
      line.text = text;
      writeToSinks(line);
    }
  } catch (...) {
    // Out of memory: the line is dropped.
  }
  va_end(again);
}

}  // namespace

void logAppUni(const char* component, const char* source, int level, int line, const char* format,
               ...) {
  const int callersErrno = errno;
  std::va_list arguments;
  va_start(arguments, format);
  formatAndWrite({viewOf(component), viewOf(source), level, line, {}},
                 format == nullptr ? "(null)" : format, arguments);
  va_end(arguments);
  errno = callersErrno;
}

void setLogLevel(int level) { framework_detail::logLevel.store(level, std::memory_order_relaxed); }

void addLogSink(LogSink* sink) {
  if (sink == nullptr) return;
  Sinks& registered = sinks();
  const std::lock_guard lock(registered.mutex);
  registered.all.push_back(sink);
}

void removeLogSink(LogSink* sink) {
  Sinks& registered = sinks();
  const std::lock_guard lock(registered.mutex);
  std::erase(registered.all, sink);
}
