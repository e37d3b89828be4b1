#include "host/loader/MobilityService.h"

#include <algorithm>

#include "host/loader/HostLog.h"

namespace host {

bool MobilityService::registerFile(const std::string& path) {
  if (path.empty()) return false;
  HOST_LOG_TRACE("file written: %s", path.c_str());
  const std::lock_guard lock(m_mutex);
  ++m_count;
  // A file that is written again is the newest once, not twice in the list.
  m_recent.erase(std::remove(m_recent.begin(), m_recent.end(), path), m_recent.end());
  m_recent.push_front(path);
  if (m_recent.size() > kRemembered) m_recent.pop_back();
  return true;
}

std::vector<std::string> MobilityService::recentFiles() const {
  const std::lock_guard lock(m_mutex);
  return {m_recent.begin(), m_recent.end()};
}

std::size_t MobilityService::count() const {
  const std::lock_guard lock(m_mutex);
  return m_count;
}

}  // namespace host
