#pragma once

#include <chrono>

namespace framework_detail {

class StorageUsage;

/// The right to change what is beneath one root: held by one writer at a time, of all threads and
/// processes. It is an advisory lock on the root folder, so the kernel gives it back for a process
/// that was killed.
///
/// Each thread has one of its own, over a descriptor of its own.
class StorageLock {
 public:
  /// How long to wait for another writer, which holds the lock for moments only. A process that is
  /// stopped, or that means ill, must not stop the telephone for ever.
  static constexpr std::chrono::milliseconds kTimeout{30000};

  /// `root` and `usage` stay the caller's.
  StorageLock(int root, StorageUsage& usage, std::chrono::milliseconds timeout = kTimeout)
      : m_root(root), m_usage(usage), m_timeout(timeout) {}
  ~StorageLock() { release(); }
  StorageLock(const StorageLock&) = delete;
  StorageLock& operator=(const StorageLock&) = delete;

  /// Throws StorageError when it isn't to be had.
  void acquire();
  /// Harmless when it isn't held.
  void release() noexcept;

 private:
  const int m_root;
  StorageUsage& m_usage;
  const std::chrono::milliseconds m_timeout;
  bool m_held = false;
};

}  // namespace framework_detail
