#pragma once

#include <cstdint>

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

}  // namespace framework_detail
