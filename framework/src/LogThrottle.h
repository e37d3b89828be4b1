#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "framework/Logging.h"

namespace framework_detail {

/// Decides which log lines are written when one place logs without end: of each place (component,
/// source, line) so many a second; the others are counted. A second begins with the first line of
/// a place and is over when a full one has passed.
///
/// Its memory is bounded: when more than `kMaxPlaces` places logged within a second, those beyond
/// share one count, under the source name "(other places)".
///
/// Threads: one at a time.
class LogThrottle {
 public:
  using Clock = std::chrono::steady_clock;
  using Time = Clock::time_point;

  static constexpr std::size_t kMaxPlaces = 1024;
  /// Bytes of a component's or source's name that tell places apart.
  static constexpr std::size_t kMaxName = 128;

  /// How many lines of one place were not written.
  struct Summary {
    std::string component;
    std::string source;
    int level;  ///< of the last of them
    int line;
    std::uint64_t count;
  };

  explicit LogThrottle(int linesPerSecond) : m_limit(linesPerSecond) {}

  /// Whether to write this line; counts it if not. `takeDue` of the same time comes first.
  bool admit(const LogLine& line, Time now);
  /// The summaries of the seconds that are over; each is told once.
  std::vector<Summary> takeDue(Time now);
  /// The summaries of all that is counted.
  std::vector<Summary> takeAll();
  /// When `takeDue` will next have something to tell; `Time::max()` when nothing is counted.
  [[nodiscard]] Time nextDue() const { return m_nextDue; }

 private:
  using Place = std::tuple<std::string, std::string, int>;
  struct Window {
    Time begin;
    int written = 0;
    std::uint64_t counted = 0;
    int level = 0;
  };
  using Windows = std::map<Place, Window>;

  Window& windowFor(const LogLine& line, Time now);
  void dropQuietPlaces(Time now);

  const int m_limit;
  Windows m_windows;
  Time m_nextDue = Time::max();
};

}  // namespace framework_detail
