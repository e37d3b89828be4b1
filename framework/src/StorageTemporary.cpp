#include "StorageTemporary.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include "StorageError.h"
#include "StorageUsage.h"

namespace framework_detail {

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

}  // namespace framework_detail
