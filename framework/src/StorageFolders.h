#pragma once

#include <cstddef>
#include <vector>

#include "StorageDescriptor.h"
#include "StoragePath.h"

namespace framework_detail {

class StorageUsage;

/// The folders between the root and one file. Those that are missing can be made; unless they are
/// kept, they are removed again.
///
/// Making and removing are done with the root's StorageLock held, so that nobody else is about to
/// put a file into a folder that is taken away. All that can fail throws StorageError.
class StorageFolders {
 public:
  /// `root` and `usage` stay the caller's.
  StorageFolders(int root, StorageUsage& usage) : m_root(root), m_usage(usage) {}
  ~StorageFolders() { removeMade(); }
  StorageFolders(const StorageFolders&) = delete;
  StorageFolders& operator=(const StorageFolders&) = delete;

  /// Opens those that are there, as deep as the path goes, and returns how many are missing.
  std::size_t find(const StoragePath& path);
  /// Makes what `find` missed.
  void makeMissing();
  /// The deepest that is open. Valid after `find`.
  int deepest() const;

  /// What was made stays.
  void keep() noexcept { m_kept = true; }
  /// Brings the names that were put into the folders to the disk.
  void sync() const;

 private:
  struct Made {
    const char* name;
    StorageDescriptor folder;
  };

  int above(std::size_t made) const;
  void removeMade() noexcept;

  const int m_root;
  StorageUsage& m_usage;
  StoragePath m_path;
  StorageDescriptor m_found;
  std::size_t m_missing = 0;
  std::vector<Made> m_made;
  bool m_kept = false;
};

}  // namespace framework_detail
