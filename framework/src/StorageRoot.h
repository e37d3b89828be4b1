#pragma once

#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// The folder beneath which `Storage` writes: errors, paths, opening, lock, files and folders.
namespace framework_detail {

class StorageUsage;

/// Why a write was refused: a message, and an errno value or 0. Thrown to `Storage` only.
///
/// Often thrown when memory or descriptors have run out: so it holds constant text, and isn't a
/// std::exception, whose virtual functions a sanitizer checks by opening files.
class StorageError {
 public:
  explicit StorageError(const char* text, int error = 0) noexcept : m_text(text), m_error(error) {}

  const char* text() const noexcept { return m_text; }
  int error() const noexcept { return m_error; }

 private:
  const char* m_text;
  int m_error;
};

/// Owns a file descriptor, or none (-1). Closing it doesn't change errno.
class StorageDescriptor {
 public:
  StorageDescriptor() = default;
  explicit StorageDescriptor(int descriptor) noexcept : m_descriptor(descriptor) {}
  StorageDescriptor(StorageDescriptor&& other) noexcept : m_descriptor(other.release()) {}
  StorageDescriptor& operator=(StorageDescriptor&& other) noexcept {
    reset(other.release());
    return *this;
  }
  StorageDescriptor(const StorageDescriptor&) = delete;
  StorageDescriptor& operator=(const StorageDescriptor&) = delete;
  ~StorageDescriptor() { reset(); }

  explicit operator bool() const noexcept { return m_descriptor >= 0; }
  int get() const noexcept { return m_descriptor; }
  int release() noexcept { return std::exchange(m_descriptor, -1); }

  void reset(int descriptor = -1) noexcept {
    const int old = std::exchange(m_descriptor, descriptor);
    if (old < 0) return;
    const int error = errno;
    ::close(old);
    errno = error;
  }

 private:
  int m_descriptor = -1;
};

/// Opens the relative `path` strictly beneath the folder `root`: symbolic links at any level,
/// absolute paths and ".." are refused. `flags` are those of open(2); O_CLOEXEC is added. Returns
/// an empty descriptor and sets errno on failure.
StorageDescriptor openBeneath(int root, const char* path, int flags);
/// The same with openat2(2). Fails with ENOSYS on kernels before 5.6, and with EPERM in containers
/// whose filter doesn't know the call.
StorageDescriptor openBeneathByKernel(int root, const char* path, int flags);
/// The same with openat(2), one component at a time.
StorageDescriptor openBeneathByHand(int root, const char* path, int flags);

/// Returns the size of the file `name` in `folder` in bytes, nothing if there is none. Throws
/// StorageError if `name` is not a regular file (symbolic links are not followed).
std::optional<std::uint64_t> storageFileSize(int folder, const char* name);

/// Returns whether `name` in `folder` is a file with exactly these bytes; false if it can't be
/// read.
bool storageFileHolds(int folder, const char* name, const char* data, std::size_t size);

/// A path beneath the root, split and checked as text: absolute, beneath the root, without "..",
/// with a file name at its end. Empty and "." components are left out.
class StoragePath {
 public:
  StoragePath() = default;
  /// `root` must not end with a slash; `depth` is the maximum number of folders. Throws
  /// StorageError.
  StoragePath(std::string_view root, std::string_view path, unsigned depth);

  /// Returns the path of another file in the same folder. Throws StorageError.
  StoragePath withName(std::string_view name) const;

  const std::vector<std::string>& folders() const { return m_folders; }
  const std::string& name() const { return m_name; }
  /// Returns the first `count` folders as a path relative to the root; "." if `count` is 0.
  std::string folderPath(std::size_t count) const;

 private:
  void add(std::string_view component);

  std::vector<std::string> m_folders;
  std::string m_name;
};

/// The exclusive right to change what is beneath one root, among all threads and processes: an
/// advisory flock(2) on the root folder, which the kernel releases when its holder is killed.
///
/// Each thread needs a lock of its own, on a descriptor of its own.
class StorageLock {
 public:
  /// Writers hold the lock for moments only. A stopped or malicious process that holds it must not
  /// block the telephone for ever.
  static constexpr std::chrono::milliseconds kTimeout{30000};

  /// Borrows `root`. The lock is not acquired yet.
  explicit StorageLock(int root, std::chrono::milliseconds timeout = kTimeout)
      : m_root(root), m_timeout(timeout) {}
  ~StorageLock() { release(); }
  StorageLock(const StorageLock&) = delete;
  StorageLock& operator=(const StorageLock&) = delete;

  /// Throws StorageError after the timeout.
  void acquire();
  /// Does nothing if the lock isn't held.
  void release() noexcept;

 private:
  const int m_root;
  const std::chrono::milliseconds m_timeout;
  bool m_held = false;
};

/// The folders between the root and one file. Creates missing ones; removes them again unless
/// `keep` is called.
///
/// Create, keep and destroy with the root's StorageLock held, so that nobody puts a file into a
/// folder that is about to be removed. Errors are thrown as StorageError.
class StorageFolders {
 public:
  /// Borrows `root` and `usage`.
  StorageFolders(int root, StorageUsage& usage) : m_root(root), m_usage(usage) {}
  ~StorageFolders() { removeCreated(); }
  StorageFolders(const StorageFolders&) = delete;
  StorageFolders& operator=(const StorageFolders&) = delete;

  /// Opens the deepest existing folder of the path. Returns how many are missing below it.
  std::size_t find(const StoragePath& path);
  /// Creates the folders that `find` missed.
  void createMissing();
  /// Returns the descriptor of the deepest open folder. Call `find` first.
  int deepest() const;

  void keep() noexcept { m_kept = true; }
  /// Syncs the folders whose entries have changed.
  void sync() const;

 private:
  struct Created {
    const char* name;
    StorageDescriptor folder;
  };

  int parentOf(std::size_t created) const;
  void removeCreated() noexcept;

  const int m_root;
  StorageUsage& m_usage;
  StoragePath m_path;
  StorageDescriptor m_found;
  std::size_t m_missing = 0;
  std::vector<Created> m_created;
  bool m_kept = false;
};

}  // namespace framework_detail
