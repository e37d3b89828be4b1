#include "framework/Semaphore.h"

#include <algorithm>
#include <chrono>

Semaphore::Semaphore(int initial, int max, bool)
    : m_count(std::clamp(initial, 0, std::max(max, 0))), m_max(std::max(max, 0)) {}

bool Semaphore::take(int timeout) {
  const auto available = [this] { return m_count > 0; };
  std::unique_lock lock(m_mutex);
  if (timeout < 0) {
    m_given.wait(lock, available);
  } else if (!m_given.wait_until(
                 lock, std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout),
                 available)) {
    return false;
  }
  --m_count;
  return true;
}

bool Semaphore::give() {
  const std::lock_guard lock(m_mutex);
  if (m_count == m_max) return false;
  ++m_count;
  // Under the lock, so that the thread that takes the unit may delete the semaphore.
  m_given.notify_one();
  return true;
}
