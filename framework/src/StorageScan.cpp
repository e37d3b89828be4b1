#include "StorageScan.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cstring>
#include <memory>

#include "StorageDescriptor.h"
#include "StorageError.h"
#include "StorageTemporaryName.h"

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

}  // namespace framework_detail
