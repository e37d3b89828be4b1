#pragma once

#include <condition_variable>
#include <mutex>

#include "framework/Export.h"

/// A counting semaphore with a timeout. `Semaphore(1, 1, false)` is a mutex that any thread may
/// release.
///
/// Threads: any thread may call.
class FRAMEWORK_API Semaphore {
 public:
  /// Starts with `initial` of at most `max` units. `shared` (between processes) is ignored.
  Semaphore(int initial, int max, bool shared);
  Semaphore(const Semaphore&) = delete;
  Semaphore& operator=(const Semaphore&) = delete;

  /// Takes one unit, waiting up to `timeout` milliseconds; -1 waits for ever, 0 not at all. Returns
  /// whether a unit was taken.
  bool take(int timeout);
  /// Gives one unit back. Returns false, without effect, if the count is already `max`.
  bool give();

 private:
  std::mutex m_mutex;
  std::condition_variable m_given;
  int m_count;
  const int m_max;
};
