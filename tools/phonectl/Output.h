#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>

namespace phonectl {

/// Exit codes, documented in `--help`.
enum ExitCode : int {
  kDone = 0,
  kFailed = 1,      ///< the phone refused or failed
  kUsage = 2,       ///< wrong command line
  kNotRunning = 3,  ///< no phone on the bus, or no bus
  kLost = 4,        ///< the phone or the bus went away meanwhile
  kSignalled = 128  ///< plus the signal number: interrupted by the user while waiting
};

/// Ends a command with a message for the user. All texts are safe to print.
class Failure : public std::runtime_error {
 public:
  /// `remedy` says what to do about it and begins in lower case; empty if unknown. what() is both.
  Failure(int exitCode, const std::string& sentence, const std::string& remedy = "");

  [[nodiscard]] int exitCode() const { return m_exitCode; }
  /// Without the remedy.
  [[nodiscard]] const std::string& sentence() const { return m_sentence; }
  [[nodiscard]] const std::string& remedy() const { return m_remedy; }

 private:
  int m_exitCode;
  std::string m_sentence;
  std::string m_remedy;
};

// Standard output, flushed after each call. Throws Failure if it can't be written.

void printLine(const std::string& line);
/// Without a line end.
void print(const std::string& text);

/// A progress bar on standard error; invisible unless that is a terminal.
///
/// Threads: one.
class ProgressBar {
 public:
  /// `unit` is what is counted: "cards".
  ProgressBar(std::size_t total, std::string unit);
  /// Erases the bar.
  ~ProgressBar();
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;

  void show(std::size_t done);
  /// Prints a line to standard error above the bar, terminal or not.
  void printLine(const std::string& line);

 private:
  void draw();
  void erase();

  const std::size_t m_total;
  const std::string m_unit;
  const bool m_terminal;
  std::size_t m_done = 0;
  std::string m_shown;  ///< what is on the screen
};

/// Moves a terminal's cursor to the start of the line and clears the line.
inline constexpr const char* kEraseLine = "\r\x1b[K";

}  // namespace phonectl
