#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <mutex>

#include "framework/Storage.h"

namespace framework_detail {

/// Entries of any kind (files, folders, links ...), and the sum of the files' sizes.
struct StorageCount {
  std::uint64_t files = 0;
  std::uint64_t bytes = 0;
};

/// How much there is beneath one root, as far as this process knows: the last count plus this
/// process's own changes since then.
///
/// Counts again when there is no count, when the last one is `kMaxAge` old, so that changes by
/// others are noticed, and when it reaches a limit, since someone may have made room: then after
/// `kRecountWhenFull` at the earliest, which keeps a flood of refused writes cheap. Counting also
/// removes temporary files whose writers are gone.
///
/// Threads: any. Call `admit`, `add` and `remove` with the root's StorageLock held, so that nothing
/// changes between the count and the write that it admits.
class StorageUsage {
 public:
  using Clock = std::chrono::steady_clock;

  static constexpr std::chrono::seconds kMaxAge{5};
  static constexpr std::chrono::seconds kRecountWhenFull{1};

  StorageUsage() = default;
  StorageUsage(const StorageUsage&) = delete;
  StorageUsage& operator=(const StorageUsage&) = delete;

  /// Returns the process's only object for this open folder, which is never destroyed. Throws
  /// StorageError.
  static StorageUsage& of(int root);

  /// Throws StorageError if `more` would exceed the limits, or if counting fails.
  void admit(int root, const StorageCount& more, const Storage::Limits& limits,
             Clock::time_point now = Clock::now());
  void add(const StorageCount& more) noexcept;
  void remove(const StorageCount& less) noexcept;

  /// How many times the root has been counted.
  std::size_t counts() const;

 private:
  bool fits(const StorageCount& more, const Storage::Limits& limits) const;
  bool isDue(bool fits, Clock::time_point now) const;
  void count(int root, const Storage::Limits& limits, Clock::time_point now);

  mutable std::mutex m_mutex;
  // Guarded by m_mutex.
  StorageCount m_count;
  bool m_counted = false;
  bool m_complete = false;  // false: counting stopped beyond the limits, there is more
  Clock::time_point m_countedAt{};
  Clock::duration m_duration{};  // of the last count
  std::size_t m_counts = 0;
};

}  // namespace framework_detail
