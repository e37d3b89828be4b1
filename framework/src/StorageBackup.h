#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "StorageTemporaryName.h"

namespace framework_detail {

class StorageUsage;

/// Keeps the file that is about to be replaced, as `NAME~`, in the place of an older `NAME~`.
/// Whenever the process or the power ends, there is a whole file of that name. Unless it is kept,
/// everything is put back.
///
/// Used with the root's StorageLock held.
class StorageBackup {
 public:
  /// `root`, `folder` and `usage` stay the caller's. The root takes what is put aside meanwhile.
  StorageBackup(int root, int folder, const std::string& name, StorageUsage& usage)
      : m_root(root), m_folder(folder), m_usage(usage), m_name(name), m_backup(name + '~') {}
  ~StorageBackup() { putBack(); }
  StorageBackup(const StorageBackup&) = delete;
  StorageBackup& operator=(const StorageBackup&) = delete;

  /// Throws StorageError when it can't be done; then nothing has changed.
  void make();
  /// The file was replaced: the older backup is not needed any more.
  void keep() noexcept;

 private:
  /// How the file got its second name. Disks for cameras and the like know no second names; there
  /// it is moved, and for a moment missing.
  enum class Means { none, link, move };

  bool makeByLink();
  void makeByMove();
  int linkAside(const std::string& name, const StorageTemporaryName& aside) const;
  void drop(const StorageTemporaryName& aside) const noexcept;
  void putBack() noexcept;
  void putOlderBack() noexcept;

  const int m_root;
  const int m_folder;
  StorageUsage& m_usage;
  const std::string m_name;
  const std::string m_backup;
  Means m_means = Means::none;
  std::optional<std::uint64_t> m_olderSize;
  StorageTemporaryName m_older;
};

}  // namespace framework_detail
