#pragma once

#include <sys/stat.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <mutex>

#include "framework/Storage.h"

namespace framework_detail {

/// How much there is beneath a root: files, folders and whatever else has a name, and the sum of
/// the files' sizes in bytes.
struct StorageCount {
  std::uint64_t files = 0;
  std::uint64_t bytes = 0;
};

/// Counts what is beneath a root and removes the unfinished files of writers that are gone: those
/// whose lock can be had. For the time of the scan the caller must hold the root's StorageLock,
/// under which such a file is created and locked.
class StorageScan {
 public:
  /// `root` is an open folder and stays the caller's. The scan stops when it has counted more than
  /// `enough` of either.
  StorageScan(int root, const StorageCount& enough) : m_root(root), m_enough(enough) {}

  /// Throws StorageError when something can't be counted. Folders that may not be read, or that
  /// vanish meanwhile, count as one.
  void run();

  const StorageCount& count() const { return m_count; }
  /// False when the scan stopped early.
  bool complete() const { return m_complete; }

 private:
  /// Folders within folders; the gate itself makes far fewer.
  static constexpr unsigned kMaxDepth = 256;

  void scanFolder(int above, const char* name, unsigned depth);
  void scanEntry(int folder, const char* name, unsigned depth);
  bool removeAbandoned(const char* name);

  const int m_root;
  const StorageCount m_enough;
  StorageCount m_count;
  bool m_complete = true;
};

/// What this process knows of how much is beneath one root, so that not every write counts
/// everything anew.
///
/// A count is made when there is none, when the root was changed by another process since this one
/// last held its lock (every write makes a file in the root, which shows in the root's times), when
/// the last count is a minute old, and when it says that the root is full, though someone may have
/// made room: that at most once a second, so that a flood of refused writes stays cheap.
///
/// Threads: any. All but `of` and `scans` are called with the root's StorageLock held, so that no
/// other thread or process changes anything between the count and the write it allows.
class StorageUsage {
 public:
  StorageUsage() = default;
  StorageUsage(const StorageUsage&) = delete;
  StorageUsage& operator=(const StorageUsage&) = delete;

  /// The one for this open folder. It lives as long as the process. Throws StorageError.
  static StorageUsage& of(int root);

  /// The lock was got: notices what others did meanwhile.
  void entered(int root) noexcept;
  /// The lock is about to be given back. Leaves a time of change on the root that the next change
  /// is sure to alter.
  void leaving(int root) noexcept;

  /// Throws StorageError when so much more would be beyond the limits.
  void admit(int root, const StorageCount& more, const Storage::Limits& limits);
  void add(const StorageCount& more) noexcept;
  void remove(const StorageCount& less) noexcept;

  /// How often everything was counted.
  std::size_t scans() const;

 private:
  using Clock = std::chrono::steady_clock;

  bool fits(const StorageCount& more, const Storage::Limits& limits) const;
  bool mayCountAgain() const;
  void scan(int root, const Storage::Limits& limits);

  bool unchanged(const struct stat& root) const;

  mutable std::mutex m_mutex;
  // Guarded by m_mutex.
  StorageCount m_count;
  bool m_known = false;     // m_count is that of the disk
  bool m_complete = false;  // and not merely the least that there is
  struct timespec m_modified {};
  struct timespec m_changed {};
  Clock::time_point m_scannedAt{};
  Clock::duration m_scanTook{};
  std::size_t m_scans = 0;
};

}  // namespace framework_detail
