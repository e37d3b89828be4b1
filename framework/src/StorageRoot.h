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

namespace framework_detail {

/// Why a write was refused: a sentence, and the system's error number where it gave one.
///
/// Thrown to and caught by `Storage` alone, often when something has run out: so it holds constant
/// text, and isn't a std::exception, whose virtual functions a sanitizer checks with descriptors.
class StorageError {
 public:
  explicit StorageError(const char* text, int error = 0) noexcept : m_text(text), m_error(error) {}

  const char* text() const noexcept { return m_text; }
  int error() const noexcept { return m_error; }

 private:
  const char* m_text;
  int m_error;
};

/// Owns one file descriptor, or none. Closing leaves `errno` alone, so that a caller can still tell
/// why the call before it failed.
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

/// Open what is at `path`, a relative one, strictly beneath the folder `root`, with the flags of
/// `open` (O_CLOEXEC is added). A symbolic link at any level, an absolute path and a ".." component
/// are refused. An empty descriptor comes back with the reason in `errno`.
///
/// Threads: any.

/// With what the kernel has.
StorageDescriptor openBeneath(int root, const char* path, int flags);
/// By the kernel in one call, `openat2`. ENOSYS on kernels before 5.6, EPERM in containers whose
/// filter doesn't know the call.
StorageDescriptor openBeneathByKernel(int root, const char* path, int flags);
/// By hand, one component after the other.
StorageDescriptor openBeneathByHand(int root, const char* path, int flags);

class StorageUsage;

/// A path beneath the root, taken apart and checked as far as its text goes: absolute, beneath the
/// root, without a "..", with a name at its end. Empty and "." components are left out, as the
/// system does.
class StoragePath {
 public:
  StoragePath() = default;
  /// `root` has no slash at its end. Throws StorageError.
  StoragePath(std::string_view root, std::string_view path, unsigned depth);

  /// The same folder, another file. Throws StorageError.
  StoragePath withName(std::string_view name) const;

  const std::vector<std::string>& folders() const { return m_folders; }
  const std::string& name() const { return m_name; }
  /// The first `count` folders as a path relative to the root, "." when `count` is 0.
  std::string folderPath(std::size_t count) const;

 private:
  void add(std::string_view component);

  std::vector<std::string> m_folders;
  std::string m_name;
};

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

/// The size of the file `name` in `folder`, nothing when there is none of that name. Throws
/// StorageError when the name is taken by something else: a folder, a symbolic link, a device.
std::optional<std::uint64_t> storageFileSize(int folder, const char* name);

/// Whether `name` in `folder` is a file that holds these bytes and no others. One that can't be
/// read doesn't, as far as is known.
bool storageFileHolds(int folder, const char* name, const char* data, std::size_t size);

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
