#include "StorageLock.h"

#include <sys/file.h>

#include <algorithm>
#include <thread>

#include "StorageError.h"
#include "StorageUsage.h"

namespace framework_detail {

void StorageLock::acquire() {
  using Clock = std::chrono::steady_clock;
  constexpr std::chrono::milliseconds longestPause{10};
  const Clock::time_point deadline = Clock::now() + m_timeout;
  std::chrono::milliseconds pause{1};
  while (::flock(m_root, LOCK_EX | LOCK_NB) != 0) {
    if (errno == EINTR) continue;
    if (errno != EWOULDBLOCK) throw StorageError("the root can't be locked", errno);
    if (Clock::now() >= deadline) throw StorageError("another program keeps the root locked");
    std::this_thread::sleep_for(pause);
    pause = std::min(pause * 2, longestPause);
  }
  m_held = true;
  m_usage.entered(m_root);
}

void StorageLock::release() noexcept {
  if (!m_held) return;
  m_held = false;
  m_usage.leaving(m_root);
  // Not left to the closing of the descriptor: a child process may have a copy of it.
  ::flock(m_root, LOCK_UN);
}

}  // namespace framework_detail
