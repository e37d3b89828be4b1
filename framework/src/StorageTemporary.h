#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "StorageRoot.h"

/// The file that is being written, and the backup of the one that it replaces.
namespace framework_detail {

class StorageUsage;

/// The name of a temporary file in the root: ".storage-" and 16 hexadecimal digits. Not derived
/// from the target's name, which may already have the maximum length.
class StorageTemporaryName {
 public:
  /// Returns a name that this process hasn't used yet. Others may have: create the file with O_EXCL
  /// and take the next name if it exists.
  static StorageTemporaryName next() noexcept;
  /// Returns a name that doesn't exist in the folder `root`; valid while its StorageLock is held.
  static StorageTemporaryName unusedIn(int root) noexcept;
  /// Returns whether `name` is that of a temporary file.
  static bool matches(std::string_view name) noexcept;
  /// Returns whether `name` has the prefix of temporary files; targets must not.
  static bool reserved(std::string_view name) noexcept;

  const char* c_str() const noexcept { return m_text.data(); }

 private:
  static constexpr std::string_view kPrefix = ".storage-";
  static constexpr std::size_t kDigits = 16;

  std::array<char, kPrefix.size() + kDigits + 1> m_text{};
};

/// The temporary file in the root that becomes the target by a rename, and is removed otherwise.
/// It is locked while its writer lives, which tells it from one that a crash left behind.
///
/// Call everything but `fill` with the root's StorageLock held. Errors are thrown as StorageError.
class StorageTemporary {
 public:
  /// Borrows `root` and `usage`.
  StorageTemporary(int root, StorageUsage& usage) : m_root(root), m_usage(usage) {}
  ~StorageTemporary() { discard(); }
  StorageTemporary(const StorageTemporary&) = delete;
  StorageTemporary& operator=(const StorageTemporary&) = delete;

  /// Creates the file and allocates `size` bytes, where the file system supports that.
  void create(std::size_t size);
  /// Writes the contents and syncs them.
  void fill(const char* data, std::size_t size);
  /// Renames the file to `name` in `folder`, which replaces a file of that name.
  void moveTo(int folder, const char* name);
  /// Removes the file. Does nothing if there is none.
  void discard() noexcept;

 private:
  void createNamed();
  void allocate(std::size_t size);

  const int m_root;
  StorageUsage& m_usage;
  StorageTemporaryName m_name;
  StorageDescriptor m_file;
  std::uint64_t m_size = 0;
};

/// Keeps the file that is about to be replaced as `NAME~`, replacing an older backup. Undone unless
/// `keep` is called. A whole file `NAME` exists at every moment, also after a crash, on file
/// systems with hard links; on others it is missing between the backup and the replacement.
///
/// Use with the root's StorageLock held.
class StorageBackup {
 public:
  /// Borrows `root`, `folder` and `usage`.
  StorageBackup(int root, int folder, const std::string& name, StorageUsage& usage)
      : m_root(root), m_folder(folder), m_usage(usage), m_name(name), m_backup(name + '~') {}
  ~StorageBackup() { undo(); }
  StorageBackup(const StorageBackup&) = delete;
  StorageBackup& operator=(const StorageBackup&) = delete;

  /// Makes the backup. Throws StorageError; then nothing has changed.
  void make();
  /// To be called when the file has been replaced: drops the older backup.
  void keep() noexcept;

 private:
  enum class State { kNone, kLinked, kMoved };

  bool makeByLink();
  void makeByMove();
  int linkAside(const std::string& name, const StorageTemporaryName& aside) const;
  void drop(const StorageTemporaryName& aside) const noexcept;
  void undo() noexcept;
  void restoreOlder() noexcept;

  const int m_root;
  const int m_folder;
  StorageUsage& m_usage;
  const std::string m_name;
  const std::string m_backup;
  State m_state = State::kNone;
  // The older backup, which waits under a temporary name.
  std::optional<std::uint64_t> m_olderSize;
  StorageTemporaryName m_older;
};

}  // namespace framework_detail
