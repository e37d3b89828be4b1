#pragma once

#include <algorithm>
#include <chrono>

namespace dbus {

/// Pauses between attempts, in milliseconds: each is twice the one before, up to a longest one.
class Backoff {
 public:
  constexpr Backoff(std::chrono::milliseconds first, std::chrono::milliseconds longest)
      : m_first(first), m_longest(longest), m_next(first) {}

  void reset() { m_next = m_first; }
  /// The pause before the next attempt, as Glib's timers take it.
  unsigned next() {
    const auto pause = m_next;
    m_next = std::min(m_next * 2, m_longest);
    return static_cast<unsigned>(pause.count());
  }

 private:
  const std::chrono::milliseconds m_first;
  const std::chrono::milliseconds m_longest;
  std::chrono::milliseconds m_next;
};

}  // namespace dbus
