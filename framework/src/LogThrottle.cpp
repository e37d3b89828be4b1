#include "LogThrottle.h"

#include <algorithm>
#include <utility>

namespace framework_detail {
namespace {

constexpr std::chrono::seconds kSecond{1};

}  // namespace

bool LogThrottle::admit(const LogLine& line, Time now) {
  Place& place = placeOf(line, now);
  if (now - place.second >= kSecond) {
    place.second = now;
    place.lines = 0;
  }
  if (place.flooding && isCalm(place, now)) place.flooding = false;
  if (place.lines >= m_limit) {
    place.exceeded = now;
    if (!std::exchange(place.flooding, true)) {
      place.reported = place.second;
      place.due = place.second + kSecond;
    }
  }
  ++place.lines;
  if (!place.flooding) return true;
  ++place.counted;
  place.level = line.level;
  m_nextDue = std::min({m_nextDue, place.due, place.exceeded + kCalmAfter});
  return false;
}

std::vector<LogThrottle::Summary> LogThrottle::takeDue(Time now) {
  std::vector<Summary> summaries;
  if (now < m_nextDue) return summaries;
  m_nextDue = Time::max();
  for (auto& [name, place] : m_places) {
    if (place.counted == 0) continue;
    if (now >= place.due || isCalm(place, now)) {
      summaries.push_back(summarize(name, place, now));
      place.counted = 0;
      place.reported = now;
      place.due = now + kSummaryInterval;
    } else {
      m_nextDue = std::min({m_nextDue, place.due, place.exceeded + kCalmAfter});
    }
  }
  return summaries;
}

std::vector<LogThrottle::Summary> LogThrottle::takeAll(Time now) {
  std::vector<Summary> summaries;
  for (const auto& [name, place] : m_places) {
    if (place.counted > 0) summaries.push_back(summarize(name, place, now));
  }
  m_places.clear();
  m_nextDue = Time::max();
  return summaries;
}

LogThrottle::Place& LogThrottle::placeOf(const LogLine& line, Time now) {
  Name name(line.component.substr(0, kMaxName), line.source.substr(0, kMaxName), line.line);
  auto found = m_places.find(name);
  if (found == m_places.end()) {
    if (m_places.size() >= kMaxPlaces) dropQuietPlaces(now);
    if (m_places.size() >= kMaxPlaces) name = {"", "(other places)", 0};
    found = m_places.try_emplace(std::move(name), Place{now}).first;
  }
  return found->second;
}

void LogThrottle::dropQuietPlaces(Time now) {
  std::erase_if(m_places, [now](const auto& entry) {
    const Place& place = entry.second;
    return place.counted == 0 && now - place.second >= kSecond &&
           (!place.flooding || isCalm(place, now));
  });
}

LogThrottle::Summary LogThrottle::summarize(const Name& name, const Place& place, Time now) {
  const auto& [component, source, line] = name;
  return {component, source,        place.level,
          line,      place.counted, std::chrono::ceil<std::chrono::seconds>(now - place.reported)};
}

}  // namespace framework_detail
