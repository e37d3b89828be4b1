#include "StorageTemporary.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdio>

#include "StorageRoot.h"
#include "StorageUsage.h"

namespace framework_detail {

StorageTemporaryName StorageTemporaryName::next() noexcept {
  static std::atomic<std::uint32_t> counter{0};
  const auto process = static_cast<std::uint64_t>(::getpid());
  std::uint64_t number = process << 32 | counter.fetch_add(1, std::memory_order_relaxed);
  StorageTemporaryName name;
  std::copy(kPrefix.begin(), kPrefix.end(), name.m_text.begin());
  for (std::size_t digit = 0; digit < kDigits; ++digit) {
    name.m_text[kPrefix.size() + kDigits - 1 - digit] = "0123456789abcdef"[number & 15];
    number >>= 4;
  }
  return name;
}

StorageTemporaryName StorageTemporaryName::unusedIn(int root) noexcept {
  StorageTemporaryName name = next();
  struct stat found {};
  while (::fstatat(root, name.c_str(), &found, AT_SYMLINK_NOFOLLOW) == 0) name = next();
  return name;
}

bool StorageTemporaryName::matches(std::string_view name) noexcept {
  return reserved(name) && name.size() == kPrefix.size() + kDigits &&
         name.find_first_not_of("0123456789abcdef", kPrefix.size()) == std::string_view::npos;
}

bool StorageTemporaryName::reserved(std::string_view name) noexcept {
  return name.starts_with(kPrefix);
}

namespace {

/// Going beyond it would not fail but end the process with a signal.
void checkLargestFile(std::size_t size) {
  struct rlimit largest {};
  if (::getrlimit(RLIMIT_FSIZE, &largest) == 0 && size > largest.rlim_cur) {
    throw StorageError("the file is larger than this process may write", EFBIG);
  }
}

}  // namespace

void StorageTemporary::create(std::size_t size) {
  checkLargestFile(size);
  createNamed();
  m_size = size;
  m_usage.add({1, m_size});
  if (::flock(m_file.get(), LOCK_EX | LOCK_NB) != 0) {
    throw StorageError("the file can't be locked", errno);
  }
  reserve(size);
}

void StorageTemporary::createNamed() {
  for (int attempt = 0; attempt < 1000; ++attempt) {
    m_name = StorageTemporaryName::next();
    m_file = StorageDescriptor(::openat(
        m_root, m_name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644));
    if (m_file) return;
    if (errno != EEXIST && errno != EINTR) break;
  }
  throw StorageError("no file can be made in the root", errno);
}

/// Other processes count the whole size from now on, and a full disk shows before a byte is
/// written. Not every disk can set space aside; the size alone tells the others too.
void StorageTemporary::reserve(std::size_t size) {
  if (size == 0) return;
  const auto length = static_cast<off_t>(size);
  int result = 0;
  do {
    result = ::fallocate(m_file.get(), 0, 0, length);
  } while (result != 0 && errno == EINTR);
  if (result != 0 && (errno == EOPNOTSUPP || errno == ENOSYS)) {
    result = ::ftruncate(m_file.get(), length);
  }
  if (result != 0) throw StorageError("there is no space for the file", errno);
}

void StorageTemporary::fill(const char* data, std::size_t size) {
  while (size > 0) {
    const ssize_t written = ::write(m_file.get(), data, size);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) throw StorageError("the file can't be written", written < 0 ? errno : EIO);
    data += written;
    size -= static_cast<std::size_t>(written);
  }
  while (::fsync(m_file.get()) != 0) {
    if (errno != EINTR) throw StorageError("the file can't be brought to the disk", errno);
  }
}

void StorageTemporary::moveTo(int folder, const char* name) {
  if (::renameat(m_root, m_name.c_str(), folder, name) != 0) {
    throw StorageError("the file can't be moved to its place", errno);
  }
  m_file.reset();
}

void StorageTemporary::discard() noexcept {
  if (!m_file) return;
  ::unlinkat(m_root, m_name.c_str(), 0);
  m_file.reset();
  m_usage.remove({1, m_size});
}

namespace {

/// Returns false, for "no link", when a file can't have another name: the disk knows no links, the
/// file has too many, or the kernel forbids links to another user's file.
bool moveInstead(int error) {
  if (error == EPERM || error == EOPNOTSUPP || error == ENOSYS || error == EMLINK) return false;
  throw StorageError("the older file can't be kept", error);
}

}  // namespace

void StorageBackup::make() {
  m_olderSize = storageFileSize(m_folder, m_backup.c_str());
  if (!makeByLink()) makeByMove();
}

/// Through a name aside, because a link doesn't replace what has its name, and a rename does.
bool StorageBackup::makeByLink() {
  const StorageTemporaryName copy = StorageTemporaryName::unusedIn(m_root);
  int error = linkAside(m_name, copy);
  if (error != 0) return moveInstead(error);
  m_older = StorageTemporaryName::unusedIn(m_root);
  if (m_olderSize) error = linkAside(m_backup, m_older);
  if (error != 0) {
    drop(copy);
    return moveInstead(error);
  }
  const bool renamed = ::renameat(m_root, copy.c_str(), m_folder, m_backup.c_str()) == 0;
  error = errno;
  // Also after a success: a rename onto another name of the same file does nothing. After a crash
  // between this and the replacing of the file, both names are those of one file.
  drop(copy);
  if (!renamed) {
    if (m_olderSize) drop(m_older);
    throw StorageError("the older file can't be kept", error);
  }
  m_means = Means::link;
  return true;
}

void StorageBackup::makeByMove() {
  if (m_olderSize) {
    m_older = StorageTemporaryName::unusedIn(m_root);
    if (::renameat(m_folder, m_backup.c_str(), m_root, m_older.c_str()) != 0) {
      throw StorageError("the backup of the older file can't be replaced", errno);
    }
  }
  if (::renameat(m_folder, m_name.c_str(), m_folder, m_backup.c_str()) != 0) {
    const int error = errno;
    putOlderBack();
    throw StorageError("the older file can't be kept", error);
  }
  m_means = Means::move;
}

/// Returns the error number, 0 for success.
int StorageBackup::linkAside(const std::string& name, const StorageTemporaryName& aside) const {
  return ::linkat(m_folder, name.c_str(), m_root, aside.c_str(), 0) == 0 ? 0 : errno;
}

void StorageBackup::drop(const StorageTemporaryName& aside) const noexcept {
  ::unlinkat(m_root, aside.c_str(), 0);
}

void StorageBackup::keep() noexcept {
  if (m_means == Means::none) return;
  m_means = Means::none;
  if (m_olderSize && ::unlinkat(m_root, m_older.c_str(), 0) == 0) m_usage.remove({1, *m_olderSize});
}

void StorageBackup::putBack() noexcept {
  if (m_means == Means::none) return;
  if (m_means == Means::move) {
    ::renameat(m_folder, m_backup.c_str(), m_folder, m_name.c_str());
  } else if (!m_olderSize) {
    ::unlinkat(m_folder, m_backup.c_str(), 0);
  }
  putOlderBack();
  m_means = Means::none;
}

void StorageBackup::putOlderBack() noexcept {
  if (!m_olderSize) return;
  ::renameat(m_root, m_older.c_str(), m_folder, m_backup.c_str());
  drop(m_older);
}

}  // namespace framework_detail
