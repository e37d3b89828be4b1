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

/// Limits how many log lines of one place (component, source, line) are written.
///
/// A place may log `linesPerSecond` lines a second, counted from its first line. When it exceeds
/// that, it is flooding: its lines are only counted, and the count is reported after the first
/// second and then every `kSummaryInterval`, until no second of the last `kCalmAfter` exceeded the
/// limit. Then the rest is reported and its lines are written again.
///
/// Memory is bounded: places beyond `kMaxPlaces` share one limit, as source "(other places)".
///
/// Threads: not thread-safe. Callers pass the time, which must not go backwards.
class LogThrottle {
 public:
  using Clock = std::chrono::steady_clock;
  using Time = Clock::time_point;

  static constexpr std::chrono::seconds kSummaryInterval{60};
  static constexpr std::chrono::seconds kCalmAfter{10};
  static constexpr std::size_t kMaxPlaces = 1024;
  /// Component and source names are compared and kept up to this length, in bytes.
  static constexpr std::size_t kMaxName = 128;

  /// The lines of one place that were counted instead of written.
  struct Summary {
    std::string component;
    std::string source;
    int level;  ///< of the last of them
    int line;
    std::uint64_t count;
    std::chrono::seconds period;  ///< since the previous summary or line, rounded up
  };

  explicit LogThrottle(int linesPerSecond) : m_limit(linesPerSecond) {}

  /// Returns whether to write this line; counts it otherwise. Call `takeDue` first.
  bool admit(const LogLine& line, Time now);
  /// Returns the summaries that are due and resets their counts.
  std::vector<Summary> takeDue(Time now);
  /// Returns the summaries of all counted lines and forgets all places.
  std::vector<Summary> takeAll(Time now);
  /// When to call `takeDue` next; `Time::max()` if nothing is counted. There may be nothing due yet
  /// by then.
  [[nodiscard]] Time nextDue() const { return m_nextDue; }

 private:
  using Name = std::tuple<std::string, std::string, int>;
  struct Place {
    Time second;  // start of the current second
    int lines = 0;
    bool flooding = false;
    Time exceeded{};  // last line beyond the limit
    Time due{};       // next summary, unless the place is calm before
    Time reported{};  // start of the period that `counted` covers
    std::uint64_t counted = 0;
    int level = 0;
  };

  Place& placeOf(const LogLine& line, Time now);
  void dropQuietPlaces(Time now);
  static bool isCalm(const Place& place, Time now) { return now - place.exceeded >= kCalmAfter; }
  static Summary summarize(const Name& name, const Place& place, Time now);

  const int m_limit;
  std::map<Name, Place> m_places;
  Time m_nextDue = Time::max();
};

}  // namespace framework_detail
