#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "StorageRoot.h"

namespace framework_detail {

class StorageUsage;

/// The name of a file that is being written, in the root: ".storage-" and 16 hexadecimal digits.
/// Its length is fixed and not that of the target's name, which may be as long as the disk allows.
class StorageTemporaryName {
 public:
  /// One that this process hasn't used yet. Another process, or an earlier one of the same number,
  /// may have: create it exclusively and take the next when it is there.
  static StorageTemporaryName next() noexcept;
  /// One that nothing in the folder `root` has. It stays so while the root's StorageLock is held.
  static StorageTemporaryName unusedIn(int root) noexcept;
  /// Whether `name` is one of these, and so ours to remove when its writer is gone.
  static bool matches(std::string_view name) noexcept;
  /// Whether a target may not be called so, or it would be taken for one of these.
  static bool reserved(std::string_view name) noexcept;

  const char* c_str() const noexcept { return m_text.data(); }

 private:
  static constexpr std::string_view kPrefix = ".storage-";
  static constexpr std::size_t kDigits = 16;

  std::array<char, kPrefix.size() + kDigits + 1> m_text{};
};

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
