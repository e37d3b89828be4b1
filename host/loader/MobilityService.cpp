#include "host/loader/MobilityService.h"

#include "host/loader/HostLog.h"

namespace host {

bool MobilityService::registerFile(const std::string& path) {
  if (path.empty()) return false;
  HOST_LOG_TRACE("file written: %s", path.c_str());
  const std::lock_guard lock(m_mutex);
  ++m_count;
  std::erase(m_recent, path);
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
