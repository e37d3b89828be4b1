#include "StorageTemporary.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>

#include "StorageUsage.h"

namespace framework_detail {

namespace {

// Writing beyond the limit would end the process with SIGXFSZ.
void checkFileSizeLimit(std::size_t size) {
  struct rlimit limit {};
  if (::getrlimit(RLIMIT_FSIZE, &limit) == 0 && size > limit.rlim_cur) {
    throw StorageError("the file exceeds the size limit of the process", EFBIG);
  }
}

// Returns false, for "not linked", if the file can't have another link: no hard links on this file
// system, too many links, or the file belongs to another user and the kernel protects hard links.
// Throws otherwise.
bool notLinked(int error) {
  if (error == EPERM || error == EOPNOTSUPP || error == ENOSYS || error == EMLINK) return false;
  throw StorageError("can't back up the existing file", error);
}

}  // namespace

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

void StorageTemporary::create(std::size_t size) {
  checkFileSizeLimit(size);
  createNamed();
  m_size = size;
  m_usage.add({1, m_size});
  if (::flock(m_file.get(), LOCK_EX | LOCK_NB) != 0) {
    throw StorageError("can't lock the temporary file", errno);
  }
  allocate(size);
}

void StorageTemporary::createNamed() {
  for (int attempt = 0; attempt < 1000; ++attempt) {
    m_name = StorageTemporaryName::next();
    m_file = StorageDescriptor(::openat(
        m_root, m_name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644));
    if (m_file) return;
    if (errno != EEXIST && errno != EINTR) break;
  }
  throw StorageError("can't create a temporary file", errno);
}

// Detects a full disk before writing, and lets other processes count the full size from now on; for
// that the size alone is enough, where space can't be allocated.
void StorageTemporary::allocate(std::size_t size) {
  if (size == 0) return;
  const auto length = static_cast<off_t>(size);
  int result = 0;
  do {
    result = ::fallocate(m_file.get(), 0, 0, length);
  } while (result != 0 && errno == EINTR);
  if (result != 0 && (errno == EOPNOTSUPP || errno == ENOSYS)) {
    result = ::ftruncate(m_file.get(), length);
  }
  if (result != 0) throw StorageError("can't allocate space for the file", errno);
}

void StorageTemporary::fill(const char* data, std::size_t size) {
  while (size > 0) {
    const ssize_t written = ::write(m_file.get(), data, size);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) {
      throw StorageError("can't write the temporary file", written < 0 ? errno : EIO);
    }
    data += written;
    size -= static_cast<std::size_t>(written);
  }
  while (::fsync(m_file.get()) != 0) {
    if (errno != EINTR) throw StorageError("can't sync the temporary file", errno);
  }
}

void StorageTemporary::moveTo(int folder, const char* name) {
  if (::renameat(m_root, m_name.c_str(), folder, name) != 0) {
    throw StorageError("can't rename the temporary file", errno);
  }
  m_file.reset();
}

void StorageTemporary::discard() noexcept {
  if (!m_file) return;
  ::unlinkat(m_root, m_name.c_str(), 0);
  m_file.reset();
  m_usage.remove({1, m_size});
}

void StorageBackup::make() {
  m_olderSize = storageFileSize(m_folder, m_backup.c_str());
  if (!makeByLink()) makeByMove();
}

// Links to a temporary name and renames that, because link(2) doesn't replace an existing file.
bool StorageBackup::makeByLink() {
  const StorageTemporaryName copy = StorageTemporaryName::unusedIn(m_root);
  int error = linkAside(m_name, copy);
  if (error != 0) return notLinked(error);
  m_older = StorageTemporaryName::unusedIn(m_root);
  if (m_olderSize) error = linkAside(m_backup, m_older);
  if (error != 0) {
    drop(copy);
    return notLinked(error);
  }
  const bool renamed = ::renameat(m_root, copy.c_str(), m_folder, m_backup.c_str()) == 0;
  error = errno;
  // Also after success: if a crash left `NAME~` as a link to `NAME`, the rename did nothing.
  drop(copy);
  if (!renamed) {
    if (m_olderSize) drop(m_older);
    throw StorageError("can't back up the existing file", error);
  }
  m_state = State::kLinked;
  return true;
}

void StorageBackup::makeByMove() {
  if (m_olderSize) {
    m_older = StorageTemporaryName::unusedIn(m_root);
    if (::renameat(m_folder, m_backup.c_str(), m_root, m_older.c_str()) != 0) {
      throw StorageError("can't replace the existing backup", errno);
    }
  }
  if (::renameat(m_folder, m_name.c_str(), m_folder, m_backup.c_str()) != 0) {
    const int error = errno;
    restoreOlder();
    throw StorageError("can't back up the existing file", error);
  }
  m_state = State::kMoved;
}

// Returns an errno value, 0 for success.
int StorageBackup::linkAside(const std::string& name, const StorageTemporaryName& aside) const {
  return ::linkat(m_folder, name.c_str(), m_root, aside.c_str(), 0) == 0 ? 0 : errno;
}

void StorageBackup::drop(const StorageTemporaryName& aside) const noexcept {
  ::unlinkat(m_root, aside.c_str(), 0);
}

void StorageBackup::keep() noexcept {
  if (std::exchange(m_state, State::kNone) == State::kNone || !m_olderSize) return;
  if (::unlinkat(m_root, m_older.c_str(), 0) == 0) m_usage.remove({1, *m_olderSize});
}

void StorageBackup::undo() noexcept {
  const State state = std::exchange(m_state, State::kNone);
  if (state == State::kNone) return;
  if (state == State::kMoved) {
    ::renameat(m_folder, m_backup.c_str(), m_folder, m_name.c_str());
  } else if (!m_olderSize) {
    ::unlinkat(m_folder, m_backup.c_str(), 0);
  }
  restoreOlder();
}

void StorageBackup::restoreOlder() noexcept {
  if (!m_olderSize) return;
  ::renameat(m_root, m_older.c_str(), m_folder, m_backup.c_str());
  drop(m_older);
}

}  // namespace framework_detail
