#include "LogThrottle.h"

#include <algorithm>
#include <utility>

namespace framework_detail {
namespace {

constexpr std::chrono::seconds kWindow{1};

}  // namespace

LogThrottle::Window& LogThrottle::windowFor(const LogLine& line, Time now) {
  Place place(line.component.substr(0, kMaxName), line.source.substr(0, kMaxName), line.line);
  auto found = m_windows.find(place);
  if (found == m_windows.end()) {
    if (m_windows.size() >= kMaxPlaces) dropQuietPlaces(now);
    if (m_windows.size() >= kMaxPlaces) place = {"", "(other places)", 0};
    found = m_windows.try_emplace(std::move(place), Window{now}).first;
  }
  return found->second;
}

bool LogThrottle::admit(const LogLine& line, Time now) {
  Window& window = windowFor(line, now);
  if (now - window.begin >= kWindow) {
    window.begin = now;
    window.written = 0;
  }
  if (window.written < m_limit) {
    ++window.written;
    return true;
  }
  ++window.counted;
  window.level = line.level;
  m_nextDue = std::min(m_nextDue, window.begin + kWindow);
  return false;
}

std::vector<LogThrottle::Summary> LogThrottle::takeDue(Time now) {
  std::vector<Summary> due;
  if (now < m_nextDue) return due;
  m_nextDue = Time::max();
  for (auto at = m_windows.begin(); at != m_windows.end();) {
    const auto& [place, window] = *at;
    if (window.counted > 0 && now - window.begin < kWindow) {
      m_nextDue = std::min(m_nextDue, window.begin + kWindow);
    } else if (window.counted > 0) {
      const auto& [component, source, line] = place;
      due.push_back({component, source, window.level, line, window.counted});
      at = m_windows.erase(at);
      continue;
    }
    ++at;
  }
  return due;
}

std::vector<LogThrottle::Summary> LogThrottle::takeAll() {
  // Later than the end of every window that can have begun by now.
  std::vector<Summary> all = takeDue(Time::max());
  m_windows.clear();
  return all;
}

void LogThrottle::dropQuietPlaces(Time now) {
  std::erase_if(m_windows, [now](const auto& entry) {
    return entry.second.counted == 0 && now - entry.second.begin >= kWindow;
  });
}

}  // namespace framework_detail
