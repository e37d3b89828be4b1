#pragma once

#include <cstddef>
#include <string>

namespace phonectl {

/// How far a long work is, on standard error, where that is a terminal; otherwise nothing is shown.
///
/// Threads: one.
class ProgressBar {
 public:
  /// `unit` is what is counted: "cards".
  ProgressBar(std::size_t total, std::string unit);
  /// Takes the bar off the screen.
  ~ProgressBar();
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;

  /// So many of the total are done.
  void show(std::size_t done);
  /// Writes a line to standard error, terminal or not, past the bar.
  void tell(const std::string& line);

 private:
  void draw();
  void wipe();

  const std::size_t m_total;
  const std::string m_unit;
  const bool m_terminal;
  std::size_t m_done = 0;
  std::string m_shown;  ///< what stands on the screen
};

}  // namespace phonectl
