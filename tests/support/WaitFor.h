#pragma once

#include <chrono>
#include <thread>

namespace test {

/// Polls the condition until it holds. False if it doesn't before the deadline, which is generous
/// enough for a slow machine.
template <typename Condition>
bool waitFor(Condition condition, std::chrono::seconds deadline = std::chrono::seconds(60)) {
  const auto end = std::chrono::steady_clock::now() + deadline;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return true;
}

}  // namespace test
