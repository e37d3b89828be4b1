#pragma once

#include <chrono>
#include <future>
#include <thread>

/// Waiting for other threads: for a condition, with a deadline that only a broken program reaches.
namespace waiting {

inline constexpr std::chrono::seconds kDeadline{60};

/// Something that happens once. Any thread may signal it; any number of threads may wait.
class Event {
 public:
  void signal() { m_promise.set_value(); }
  /// Returns whether it happened before the deadline.
  [[nodiscard]] bool wait() const {
    return m_future.wait_for(kDeadline) == std::future_status::ready;
  }

 private:
  std::promise<void> m_promise;
  std::shared_future<void> m_future{m_promise.get_future()};
};

/// Polls the condition; returns whether it became true before the deadline.
template <typename Condition>
bool until(Condition condition) {
  const auto end = std::chrono::steady_clock::now() + kDeadline;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

}  // namespace waiting
