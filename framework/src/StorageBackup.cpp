#include "StorageBackup.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

#include "StorageError.h"
#include "StorageFile.h"
#include "StorageUsage.h"

namespace framework_detail {

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
