#include "framework/LogOutput.h"

#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <spdlog/logger.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <mutex>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <utility>

#include "LogThrottle.h"
#include "Utf8.h"

using framework_detail::LogThrottle;

namespace {

// Control characters, which terminals obey; Unicode's line ends; and marks that change the reading
// direction, which make a text look like another.
bool isUnsafe(char32_t character) {
  return character < 0x20 || (character >= 0x7F && character < 0xA0) || character == 0x061C ||
         character == 0x200E || character == 0x200F ||
         (character >= 0x2028 && character <= 0x202E) ||
         (character >= 0x2066 && character <= 0x2069);
}

void appendHex(std::string& out, std::string_view bytes) {
  static constexpr char kDigits[] = "0123456789abcdef";
  for (const char byte : bytes) {
    const auto value = static_cast<unsigned char>(byte);
    out += "\\x";
    out += kDigits[value >> 4];
    out += kDigits[value & 0x0F];
  }
}

// `bytes` is one character, or one byte that is not UTF-8.
void appendEscaped(std::string& out, std::string_view bytes, bool valid) {
  static constexpr std::string_view kCharacters = "\a\b\t\n\v\f\r\\";
  static constexpr std::string_view kLetters = "abtnvfr\\";
  const std::size_t known = kCharacters.find(bytes);
  if (known != std::string_view::npos) {
    out += '\\';
    out += kLetters[known];
  } else if (!valid || isUnsafe(utf8::unchecked::peek_next(bytes.begin()))) {
    appendHex(out, bytes);
  } else {
    out += bytes;
  }
}

/// Returns the text on one line, with C escapes for what is unsafe to show (see `isUnsafe`), for
/// backslashes and for bytes that are not UTF-8, so that different texts look different. Longer
/// texts are cut to `limit` bytes, at the start of a character, with a note.
std::string escapeLogText(std::string_view text, std::size_t limit) {
  std::string out;
  out.reserve(std::min(text.size(), limit) + 32);
  std::size_t shown = 0;
  while (shown < text.size()) {
    const std::size_t length = framework_detail::utf8Length(text.substr(shown));
    const std::string_view bytes = text.substr(shown, std::max<std::size_t>(length, 1));
    if (shown + bytes.size() > limit) {
      const std::size_t missing = text.size() - shown;
      return out + " … " + std::to_string(missing) + (missing == 1 ? " more byte" : " more bytes");
    }
    appendEscaped(out, bytes, length > 0);
    shown += bytes.size();
  }
  return out;
}

spdlog::level::level_enum levelOf(int level) {
  if (level <= kLogError) return spdlog::level::err;
  if (level >= kLogTrace) return spdlog::level::trace;
  return level == kLogError + 1 ? spdlog::level::warn : spdlog::level::info;
}

std::runtime_error openError(const std::string& path, const std::string& reason) {
  return std::runtime_error("The log file \"" + path + "\" can't be opened: " + reason + ".");
}

// Creates the file with mode 0600 before spdlog creates it with the default mode: a log holds names
// and numbers. Returns 0 or an errno value.
int makePrivate(const std::string& path) {
  const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOCTTY, 0600);
  if (file < 0) return errno;
  struct stat status = {};
  int error = ::fstat(file, &status) == 0 ? 0 : errno;
  const bool open = S_ISREG(status.st_mode) && (status.st_mode & 0777) != 0600;
  if (error == 0 && open && ::fchmod(file, 0600) != 0) error = errno;
  ::close(file);
  return error;
}

bool isRegularFile(const std::string& path) {
  struct stat status = {};
  return ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

spdlog::sink_ptr openLogFile(const std::string& path, std::size_t bytes, std::size_t files) {
  const int error = makePrivate(path);
  if (error != 0) throw openError(path, std::generic_category().message(error));
  spdlog::file_event_handlers events;
  events.before_open = [](const std::string& name) { makePrivate(name); };
  try {
    // A device or a pipe can't be rotated.
    if (!isRegularFile(path)) return std::make_shared<spdlog::sinks::basic_file_sink_st>(path);
    return std::make_shared<spdlog::sinks::rotating_file_sink_st>(path, bytes, files - 1, false,
                                                                  events);
  } catch (const spdlog::spdlog_ex& failed) {
    throw openError(path, failed.what());
  }
}

// Blocks all signals for the scope, and so in threads started in it: the program decides which of
// its threads handle signals.
class AllSignalsBlocked {
 public:
  AllSignalsBlocked() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &m_former);
  }
  ~AllSignalsBlocked() { pthread_sigmask(SIG_SETMASK, &m_former, nullptr); }
  AllSignalsBlocked(const AllSignalsBlocked&) = delete;
  AllSignalsBlocked& operator=(const AllSignalsBlocked&) = delete;

 private:
  sigset_t m_former;
};

}  // namespace

/// Writes lines as they come. A thread of its own writes summaries that become due while nobody
/// logs.
class LogOutput::Impl {
 public:
  /// `name` is the file's name in messages; empty for standard error.
  Impl(spdlog::sink_ptr sink, std::string name)
      : m_name(std::move(name)), m_logger("", std::move(sink)) {
    m_logger.set_error_handler([this](const std::string& reason) { fail(reason); });
    m_logger.set_pattern("%Y-%m-%d %H:%M:%S.%e %l %v");
    m_logger.set_level(spdlog::level::trace);
    m_logger.flush_on(spdlog::level::trace);
    const AllSignalsBlocked blocked;
    try {
      m_thread = std::thread([this] { writeSummaries(); });
    } catch (const std::system_error&) {
      // Summaries are then written before the next line, or at the end.
    }
  }

  ~Impl() {
    {
      const std::lock_guard lock(m_mutex);
      m_closing = true;
      m_changed.notify_all();
    }
    if (m_thread.joinable()) m_thread.join();
    try {
      put(m_throttle.takeAll(LogThrottle::Clock::now()));
    } catch (...) {
      // Out of memory: the last summaries are lost.
    }
  }

  Impl(const Impl&) = delete;
  Impl& operator=(const Impl&) = delete;

  void write(const LogLine& line) {
    const std::lock_guard lock(m_mutex);
    const LogThrottle::Time now = LogThrottle::Clock::now();
    put(m_throttle.takeDue(now));
    const LogThrottle::Time formerDue = m_throttle.nextDue();
    if (m_throttle.admit(line, now)) {
      put(line.level, line.component, line.source, line.line, escapeLogText(line.text, kMaxText));
    } else if (m_throttle.nextDue() != formerDue) {
      m_changed.notify_all();
    }
  }

 private:
  void writeSummaries() {
    std::unique_lock lock(m_mutex);
    while (!m_closing) {
      const LogThrottle::Time due = m_throttle.nextDue();
      if (due == LogThrottle::Time::max()) {
        m_changed.wait(lock);
        continue;
      }
      m_changed.wait_until(lock, due);
      try {
        put(m_throttle.takeDue(LogThrottle::Clock::now()));
      } catch (...) {
        // Out of memory: these summaries are lost.
      }
    }
  }

  void put(const std::vector<LogThrottle::Summary>& summaries) {
    for (const LogThrottle::Summary& summary : summaries) {
      put(summary.level, summary.component, summary.source, summary.line,
          "… " + std::to_string(summary.count) +
              (summary.count == 1 ? " more line" : " more lines") + " like this in the last " +
              std::to_string(summary.period.count()) + " s");
    }
  }

  void put(int level, std::string_view component, std::string_view source, int line,
           const std::string& text) {
    putLine(levelOf(level), escapeLogText(component, LogThrottle::kMaxName) + " " +
                                escapeLogText(source, LogThrottle::kMaxName) + ":" +
                                std::to_string(line) + ": " + text);
  }

  void putLine(spdlog::level::level_enum level, const std::string& text) {
    if (m_lost > 0 && !reportLost()) {
      ++m_lost;
      return;
    }
    m_failed = false;
    m_logger.log(level, text);
    if (m_failed) ++m_lost;
  }

  // Returns whether the log can be written again.
  bool reportLost() {
    m_failed = false;
    m_logger.log(spdlog::level::err, "… " + std::to_string(m_lost) +
                                         (m_lost == 1 ? " line" : " lines") +
                                         " could not be written before this one");
    if (!m_failed) m_lost = 0;
    return !m_failed;
  }

  // Called by spdlog during m_logger.log(). An unwritable standard error can't be reported.
  void fail(const std::string& reason) {
    m_failed = true;
    if (m_name.empty() || m_reported) return;
    m_reported = true;
    std::fprintf(stderr, "The log file \"%s\" can't be written: %s. Lines are lost.\n",
                 m_name.c_str(), reason.c_str());
  }

  std::mutex m_mutex;
  std::condition_variable m_changed;
  bool m_closing = false;                              // guarded by m_mutex
  LogThrottle m_throttle{LogOutput::kLinesPerSecond};  // guarded by m_mutex
  const std::string m_name;
  bool m_failed = false;     // the last line; guarded by m_mutex
  bool m_reported = false;   // guarded by m_mutex
  std::uint64_t m_lost = 0;  // since the last written line; guarded by m_mutex
  spdlog::logger m_logger;   // guarded by m_mutex
  std::thread m_thread;
};

LogOutput::LogOutput()
    : m_impl(std::make_unique<Impl>(std::make_shared<spdlog::sinks::stderr_sink_st>(), "")) {}

LogOutput::LogOutput(const std::string& path, std::size_t bytes, std::size_t files)
    : m_impl(std::make_unique<Impl>(openLogFile(path, bytes, files), path)) {}

LogOutput::~LogOutput() = default;

void LogOutput::write(const LogLine& line) {
  try {
    m_impl->write(line);
  } catch (...) {
    // Out of memory: the line is lost.
  }
}
