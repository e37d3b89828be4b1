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

struct CloseFolder {
  void operator()(DIR* folder) const { ::closedir(folder); }
};

using FolderStream = std::unique_ptr<DIR, CloseFolder>;

/// Null when the folder is gone or may not be read.
FolderStream openStream(int above, const char* name) {
  StorageDescriptor folder(::openat(above, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (!folder && (errno == ENOENT || errno == EACCES || errno == ENOTDIR)) return nullptr;
  FolderStream stream(folder ? ::fdopendir(folder.get()) : nullptr);
  if (!stream) throw StorageError("a folder can't be counted", errno);
  folder.release();
  return stream;
}

}  // namespace

void StorageScan::run() {
  m_count = {};
  m_complete = true;
  scanFolder(m_root, ".", 0);
}

void StorageScan::scanFolder(int above, const char* name, unsigned depth) {
  if (depth > kMaxDepth) throw StorageError("the folders are nested too deep to be counted");
  const FolderStream stream = openStream(above, name);
  if (!stream) return;
  while (m_complete) {
    errno = 0;
    const dirent* entry = ::readdir(stream.get());  // NOLINT(concurrency-mt-unsafe): own stream
    if (entry == nullptr && errno != 0) throw StorageError("a folder can't be counted", errno);
    if (entry == nullptr) return;
    if (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0) continue;
    scanEntry(::dirfd(stream.get()), entry->d_name, depth);
  }
}

void StorageScan::scanEntry(int folder, const char* name, unsigned depth) {
  struct stat found {};
  if (::fstatat(folder, name, &found, AT_SYMLINK_NOFOLLOW) != 0) {
    if (errno == ENOENT) return;
    throw StorageError("a file can't be counted", errno);
  }
  const bool regular = S_ISREG(found.st_mode);
  if (depth == 0 && regular && StorageTemporaryName::matches(name) && removeAbandoned(name)) return;
  m_count.files += 1;
  if (regular) m_count.bytes += static_cast<std::uint64_t>(found.st_size);
  m_complete = m_count.files <= m_enough.files && m_count.bytes <= m_enough.bytes;
  if (m_complete && S_ISDIR(found.st_mode)) scanFolder(folder, name, depth + 1);
}

bool StorageScan::removeAbandoned(const char* name) {
  const StorageDescriptor file(
      ::openat(m_root, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (!file || ::flock(file.get(), LOCK_EX | LOCK_NB) != 0) return false;
  return ::unlinkat(m_root, name, 0) == 0;
}

namespace {

constexpr std::chrono::minutes kBelievedFor{1};
constexpr std::chrono::seconds kBetweenScansWhenFull{1};
/// A scan of a very full root may take long: then they take a twentieth of the time at most.
constexpr int kScanShare = 20;

bool same(const timespec& left, const timespec& right) {
  return left.tv_sec == right.tv_sec && left.tv_nsec == right.tv_nsec;
}

void checkFreeSpace(int root, std::uint64_t bytes, std::uint64_t keepFree) {
  if (keepFree == 0) return;
  struct statvfs disk {};
  if (::fstatvfs(root, &disk) != 0) throw StorageError("the free space can't be told", errno);
  const std::uint64_t available = std::uint64_t{disk.f_bavail} * disk.f_frsize;
  if (available < bytes || available - bytes < keepFree) {
    throw StorageError("too little space would be left on the disk");
  }
}

}  // namespace

StorageUsage& StorageUsage::of(int root) {
  struct stat found {};
  if (::fstat(root, &found) != 0) throw StorageError("the root can't be looked at", errno);
  // Never destroyed: a thread may still be writing when the process exits.
  static std::mutex& mutex = *new std::mutex;
  static auto& all = *new std::map<std::pair<dev_t, ino_t>, StorageUsage>;
  const std::lock_guard lock(mutex);
  return all[{found.st_dev, found.st_ino}];
}

void StorageUsage::entered(int root) noexcept {
  struct stat now {};
  const bool seen = ::fstat(root, &now) == 0;
  const std::lock_guard lock(m_mutex);
  m_known = m_known && seen && unchanged(now);
}

void StorageUsage::leaving(int root) noexcept {
  struct stat now {};
  const std::lock_guard lock(m_mutex);
  if (::fstat(root, &now) == 0 && unchanged(now)) return;
  // The kernel's own times may stand still for some milliseconds, in which another process could
  // write unseen. This one is exact; where it may not be set, the kernel's must do.
  timespec times[2]{};
  times[0].tv_nsec = UTIME_OMIT;
  ::clock_gettime(CLOCK_REALTIME, &times[1]);
  ::futimens(root, times);
  m_known = m_known && ::fstat(root, &now) == 0;
  m_modified = now.st_mtim;
  m_changed = now.st_ctim;
}

void StorageUsage::admit(int root, const StorageCount& more, const Storage::Limits& limits) {
  checkFreeSpace(root, more.bytes, limits.freeBytes);
  const std::lock_guard lock(m_mutex);
  const bool old = Clock::now() - m_scannedAt > kBelievedFor;
  if (!m_known || old || (!m_complete && fits(more, limits))) scan(root, limits);
  if (!fits(more, limits) && mayCountAgain()) scan(root, limits);
  if (!fits(more, limits)) throw StorageError("there is as much beneath the root as may be");
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

std::size_t StorageUsage::scans() const {
  const std::lock_guard lock(m_mutex);
  return m_scans;
}

bool StorageUsage::unchanged(const struct stat& root) const {
  return same(root.st_mtim, m_modified) && same(root.st_ctim, m_changed);
}

bool StorageUsage::fits(const StorageCount& more, const Storage::Limits& limits) const {
  return m_count.files <= limits.files && more.files <= limits.files - m_count.files &&
         m_count.bytes <= limits.bytes && more.bytes <= limits.bytes - m_count.bytes;
}

bool StorageUsage::mayCountAgain() const {
  const Clock::duration pause =
      std::max<Clock::duration>(kBetweenScansWhenFull, m_scanTook * kScanShare);
  return Clock::now() - m_scannedAt >= pause;
}

void StorageUsage::scan(int root, const Storage::Limits& limits) {
  const Clock::time_point start = Clock::now();
  m_known = false;
  m_scans += 1;
  StorageScan scan(root, {limits.files, limits.bytes});
  scan.run();
  m_count = scan.count();
  m_complete = scan.complete();
  m_known = true;
  m_scannedAt = Clock::now();
  m_scanTook = m_scannedAt - start;
}

}  // namespace framework_detail
