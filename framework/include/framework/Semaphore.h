#pragma once

#include <condition_variable>
#include <mutex>

#include "framework/Export.h"

/// A counting semaphore with a time-out. `Semaphore(1, 1, false)` serves as a mutex that any thread
/// may give back.
///
/// Threads: `take` and `give` may be called from any thread.
class FRAMEWORK_API Semaphore {
 public:
  /// Starts with `initial` units of at most `max`. `shared` asks for a semaphore between processes,
  /// which this framework doesn't have: it is accepted and ignored.
  Semaphore(int initial, int max, bool shared);
  Semaphore(const Semaphore&) = delete;
  Semaphore& operator=(const Semaphore&) = delete;

  /// Takes one unit. Waits up to `timeout` milliseconds for it, for ever when that is -1, not at
  /// all when it is 0. Returns whether the unit was had.
  bool take(int timeout);
  /// Gives one unit back. Returns false, and changes nothing, when the maximum is already there.
  bool give();

 private:
  std::mutex m_mutex;
  std::condition_variable m_given;
  int m_count;
  const int m_max;
};
