#include "StorageFolders.h"

#include <fcntl.h>
#include <sys/stat.h>

#include "StorageError.h"
#include "StorageOpen.h"
#include "StorageUsage.h"

namespace framework_detail {

namespace {

constexpr int kFolder = O_RDONLY | O_DIRECTORY;

void syncFolder(int folder) {
  while (::fsync(folder) != 0) {
    // Some file systems have no such call for folders; then there is nothing to wait for.
    if (errno == EINVAL) return;
    if (errno != EINTR) throw StorageError("a folder can't be brought to the disk", errno);
  }
}

}  // namespace

std::size_t StorageFolders::find(const StoragePath& path) {
  m_path = path;
  std::size_t depth = path.folders().size();
  m_found = openBeneath(m_root, path.folderPath(depth).c_str(), kFolder);
  while (!m_found && errno == ENOENT && depth > 0) {
    --depth;
    m_found = openBeneath(m_root, path.folderPath(depth).c_str(), kFolder);
  }
  if (!m_found) throw StorageError("the folder can't be opened", errno);
  m_missing = path.folders().size() - depth;
  return m_missing;
}

void StorageFolders::makeMissing() {
  const std::vector<std::string>& names = m_path.folders();
  m_made.reserve(m_missing);
  for (; m_missing > 0; --m_missing) {
    const char* name = names[names.size() - m_missing].c_str();
    const int from = deepest();
    if (::mkdirat(from, name, 0755) != 0) throw StorageError("a folder can't be made", errno);
    m_made.push_back({name, {}});
    m_usage.add({1, 0});
    m_made.back().folder = openBeneath(from, name, kFolder);
    if (!m_made.back().folder) throw StorageError("a folder can't be opened", errno);
  }
}

int StorageFolders::deepest() const {
  return m_made.empty() ? m_found.get() : m_made.back().folder.get();
}

void StorageFolders::sync() const {
  syncFolder(deepest());
  for (std::size_t i = m_made.size(); i > 0; --i) syncFolder(above(i - 1));
}

int StorageFolders::above(std::size_t made) const {
  return made == 0 ? m_found.get() : m_made[made - 1].folder.get();
}

void StorageFolders::removeMade() noexcept {
  if (m_kept) return;
  for (std::size_t i = m_made.size(); i > 0; --i) {
    if (::unlinkat(above(i - 1), m_made[i - 1].name, AT_REMOVEDIR) == 0) m_usage.remove({1, 0});
  }
}

}  // namespace framework_detail
