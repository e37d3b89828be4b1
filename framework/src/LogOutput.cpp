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

#include "LogText.h"
#include "LogThrottle.h"

using framework_detail::escapeLogText;
using framework_detail::LogThrottle;

namespace {

spdlog::level::level_enum levelOf(int level) {
  if (level <= kLogError) return spdlog::level::err;
  if (level >= kLogTrace) return spdlog::level::trace;
  return level == kLogError + 1 ? spdlog::level::warn : spdlog::level::info;
}

std::runtime_error problem(const std::string& path, const std::string& what) {
  return std::runtime_error("The log file \"" + path + "\" " + what + ".");
}

// Makes the file before the sink does, which would make it for everyone's eyes: a log holds names
// and numbers. Returns 0 or what went wrong.
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

bool isOrdinaryFile(const std::string& path) {
  struct stat status = {};
  return ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

spdlog::sink_ptr openLogFile(const std::string& path, std::size_t bytes, std::size_t files) {
  const int error = makePrivate(path);
  if (error != 0) throw problem(path, "can't be opened: " + std::generic_category().message(error));
  spdlog::file_event_handlers events;
  events.before_open = [](const std::string& name) { makePrivate(name); };
  try {
    // What can't be moved aside is only written to.
    if (!isOrdinaryFile(path)) return std::make_shared<spdlog::sinks::basic_file_sink_st>(path);
    return std::make_shared<spdlog::sinks::rotating_file_sink_st>(path, bytes, files - 1, false,
                                                                  events);
  } catch (const spdlog::spdlog_ex& failed) {
    throw problem(path, std::string("can't be opened: ") + failed.what());
  }
}

// Signals are for the threads of the program, which may rely on no other thread taking them.
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

/// Writes lines as they come; a thread of its own tells the summaries when nobody logs any more.
class LogOutput::Impl {
 public:
  /// `name` is what messages call the file; empty for standard error.
  Impl(spdlog::sink_ptr sink, std::string name)
      : m_name(std::move(name)), m_logger("", std::move(sink)) {
    m_logger.set_error_handler([this](const std::string& reason) { fail(reason); });
    m_logger.set_pattern("%Y-%m-%d %H:%M:%S.%e %l %v");
    m_logger.set_level(spdlog::level::trace);
    m_logger.flush_on(spdlog::level::trace);
    const AllSignalsBlocked blocked;
    try {
      m_thread = std::thread([this] { tellSummaries(); });
    } catch (const std::system_error&) {
      // Without it a summary waits for the next line, or for the end.
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
      put(m_throttle.takeAll());
    } catch (...) {
      // No memory to tell it.
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
  void tellSummaries() {
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
        // No memory to tell it.
      }
    }
  }

  void put(const std::vector<LogThrottle::Summary>& summaries) {
    for (const LogThrottle::Summary& summary : summaries) {
      put(summary.level, summary.component, summary.source, summary.line,
          "… " + std::to_string(summary.count) +
              (summary.count == 1 ? " more line like this" : " more lines like this"));
    }
  }

  void put(int level, std::string_view component, std::string_view source, int line,
           const std::string& text) {
    putLine(levelOf(level), escapeLogText(component, LogThrottle::kMaxName) + " " +
                                escapeLogText(source, LogThrottle::kMaxName) + ":" +
                                std::to_string(line) + ": " + text);
  }

  void putLine(spdlog::level::level_enum level, const std::string& text) {
    if (m_lost > 0 && !tellLost()) {
      ++m_lost;
      return;
    }
    m_failed = false;
    m_logger.log(level, text);
    if (m_failed) ++m_lost;
  }

  // Whether the file can be written again.
  bool tellLost() {
    m_failed = false;
    m_logger.log(spdlog::level::err, "… " + std::to_string(m_lost) +
                                         (m_lost == 1 ? " line" : " lines") +
                                         " could not be written before this one");
    if (!m_failed) m_lost = 0;
    return !m_failed;
  }

  // Standard error itself has nowhere to tell it.
  void fail(const std::string& reason) {
    m_failed = true;
    if (m_name.empty() || m_told) return;
    m_told = true;
    std::fprintf(stderr, "The log file \"%s\" can't be written: %s. Lines are lost.\n",
                 m_name.c_str(), reason.c_str());
  }

  std::mutex m_mutex;
  std::condition_variable m_changed;
  bool m_closing = false;                              // guarded by m_mutex
  LogThrottle m_throttle{LogOutput::kLinesPerSecond};  // guarded by m_mutex
  const std::string m_name;
  bool m_failed = false;     // the last line; guarded by m_mutex
  bool m_told = false;       // guarded by m_mutex
  std::uint64_t m_lost = 0;  // since the last line that was written; guarded by m_mutex
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
    // No memory for the line: it is dropped.
  }
}
