#pragma once

#include <cstddef>
#include <cstdint>

#include "StorageDescriptor.h"
#include "StorageTemporaryName.h"

namespace framework_detail {

class StorageUsage;

/// The unfinished file: it is written in the root and moved to its place when it is whole. As long
/// as its writer lives it is locked, so that another process can tell it from one that a crash left
/// behind. What isn't moved is removed.
///
/// `create`, `moveTo` and `discard` are called with the root's StorageLock held. All but `discard`
/// throw StorageError.
class StorageTemporary {
 public:
  /// `root` and `usage` stay the caller's.
  StorageTemporary(int root, StorageUsage& usage) : m_root(root), m_usage(usage) {}
  ~StorageTemporary() { discard(); }
  StorageTemporary(const StorageTemporary&) = delete;
  StorageTemporary& operator=(const StorageTemporary&) = delete;

  /// Makes it, with the space for `size` bytes where the disk can set that aside.
  void create(std::size_t size);
  /// Writes all that it will hold and waits until that is on the disk.
  void fill(const char* data, std::size_t size);
  void moveTo(int folder, const char* name);
  /// Harmless when there is nothing to remove.
  void discard() noexcept;

 private:
  void createNamed();
  void reserve(std::size_t size);

  const int m_root;
  StorageUsage& m_usage;
  StorageTemporaryName m_name;
  StorageDescriptor m_file;
  std::uint64_t m_size = 0;
};

}  // namespace framework_detail
