#include "StorageUsage.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <memory>
#include <utility>

#include "StorageRoot.h"
#include "StorageTemporary.h"

namespace framework_detail {

namespace {

/// Counting a large root takes long: it may use up to one twentieth of the time.
constexpr int kCountShare = 20;

struct CloseFolder {
  void operator()(DIR* folder) const { ::closedir(folder); }
};

using FolderStream = std::unique_ptr<DIR, CloseFolder>;

// Returns null if the folder has vanished or can't be read for lack of permission.
FolderStream openStream(int parent, const char* name) {
  StorageDescriptor folder(::openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (!folder && (errno == ENOENT || errno == EACCES || errno == ENOTDIR)) return nullptr;
  FolderStream stream(folder ? ::fdopendir(folder.get()) : nullptr);
  if (!stream) throw StorageError("can't count a folder", errno);
  folder.release();
  return stream;
}

/// Counts what is beneath a root, up to the first entry beyond the limits, and removes abandoned
/// temporary files. Throws StorageError.
class Scan {
 public:
  Scan(int root, const Storage::Limits& limits) : m_root(root), m_limits(limits) {
    scanFolder(m_root, ".", 0);
  }

  const StorageCount& count() const { return m_count; }
  bool complete() const { return m_complete; }

 private:
  /// `Storage` itself creates far fewer levels.
  static constexpr unsigned kMaxDepth = 256;

  void scanFolder(int parent, const char* name, unsigned depth) {
    if (depth > kMaxDepth) throw StorageError("the folders are nested too deeply to be counted");
    const FolderStream stream = openStream(parent, name);
    if (!stream) return;
    while (m_complete) {
      errno = 0;
      const dirent* entry = ::readdir(stream.get());  // NOLINT(concurrency-mt-unsafe): own stream
      if (entry == nullptr && errno != 0) throw StorageError("can't count a folder", errno);
      if (entry == nullptr) return;
      if (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0) continue;
      scanEntry(::dirfd(stream.get()), entry->d_name, depth);
    }
  }

  void scanEntry(int folder, const char* name, unsigned depth) {
    struct stat found {};
    if (::fstatat(folder, name, &found, AT_SYMLINK_NOFOLLOW) != 0) {
      if (errno == ENOENT) return;
      throw StorageError("can't count a file", errno);
    }
    const bool regular = S_ISREG(found.st_mode);
    if (depth == 0 && regular && StorageTemporaryName::matches(name) && removeAbandoned(name)) {
      return;
    }
    m_count.files += 1;
    if (regular) m_count.bytes += static_cast<std::uint64_t>(found.st_size);
    m_complete = m_count.files <= m_limits.files && m_count.bytes <= m_limits.bytes;
    if (m_complete && S_ISDIR(found.st_mode)) scanFolder(folder, name, depth + 1);
  }

  // A writer that is alive holds a lock on its temporary file.
  bool removeAbandoned(const char* name) const {
    const StorageDescriptor file(
        ::openat(m_root, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!file || ::flock(file.get(), LOCK_EX | LOCK_NB) != 0) return false;
    return ::unlinkat(m_root, name, 0) == 0;
  }

  const int m_root;
  const Storage::Limits& m_limits;
  StorageCount m_count;
  bool m_complete = true;
};

void checkFreeSpace(int root, std::uint64_t bytes, std::uint64_t keepFree) {
  if (keepFree == 0) return;
  struct statvfs disk {};
  if (::fstatvfs(root, &disk) != 0) throw StorageError("can't determine the free space", errno);
  const std::uint64_t available = std::uint64_t{disk.f_bavail} * disk.f_frsize;
  if (available < bytes || available - bytes < keepFree) {
    throw StorageError("too little free space would be left on the disk");
  }
}

}  // namespace

StorageUsage& StorageUsage::of(int root) {
  struct stat found {};
  if (::fstat(root, &found) != 0) throw StorageError("can't inspect the root folder", errno);
  // Never destroyed: a thread may still be writing when the process exits.
  static std::mutex& mutex = *new std::mutex;
  static auto& all = *new std::map<std::pair<dev_t, ino_t>, StorageUsage>;
  const std::lock_guard lock(mutex);
  return all[{found.st_dev, found.st_ino}];
}

void StorageUsage::admit(int root, const StorageCount& more, const Storage::Limits& limits,
                         Clock::time_point now) {
  checkFreeSpace(root, more.bytes, limits.freeBytes);
  const std::lock_guard lock(m_mutex);
  if (isDue(fits(more, limits), now)) count(root, limits, now);
  if (!fits(more, limits)) throw StorageError("the limit of files or bytes is reached");
}

void StorageUsage::add(const StorageCount& more) noexcept {
  const std::lock_guard lock(m_mutex);
  m_count.files += more.files;
  m_count.bytes += more.bytes;
}

void StorageUsage::remove(const StorageCount& less) noexcept {
  const std::lock_guard lock(m_mutex);
  m_count.files -= std::min(less.files, m_count.files);
  m_count.bytes -= std::min(less.bytes, m_count.bytes);
}

std::size_t StorageUsage::counts() const {
  const std::lock_guard lock(m_mutex);
  return m_counts;
}

bool StorageUsage::fits(const StorageCount& more, const Storage::Limits& limits) const {
  return m_count.files <= limits.files && more.files <= limits.files - m_count.files &&
         m_count.bytes <= limits.bytes && more.bytes <= limits.bytes - m_count.bytes;
}

bool StorageUsage::isDue(bool fits, Clock::time_point now) const {
  // An incomplete count that fits now was made for lower limits.
  if (!m_counted || (fits && !m_complete)) return true;
  const Clock::duration wait = fits ? kMaxAge : kRecountWhenFull;
  return now - m_countedAt >= std::max(wait, m_duration * kCountShare);
}

void StorageUsage::count(int root, const Storage::Limits& limits, Clock::time_point now) {
  const Clock::time_point start = Clock::now();
  m_counted = false;
  m_counts += 1;
  const Scan scan(root, limits);
  m_count = scan.count();
  m_complete = scan.complete();
  m_counted = true;
  m_countedAt = now;
  m_duration = Clock::now() - start;
}

}  // namespace framework_detail
