#include "framework/Storage.h"

#include <fcntl.h>

#include <cstring>

#include "StorageRoot.h"
#include "StorageTemporary.h"
#include "StorageUsage.h"
#include "framework/Logging.h"

using namespace framework_detail;

namespace {

// Bytes of a path that are logged: its length is up to a stranger.
constexpr int kShownPath = 300;

std::string withoutTrailingSlashes(std::string path) {
  while (path.ends_with('/')) path.pop_back();
  return path;
}

// Returns whether `work` succeeds; logs the reason otherwise.
template <typename Work>
bool succeeds(const char* path, const Work& work) {
  const char* shown = path == nullptr ? "(null)" : path;
  try {
    work();
    return true;
  } catch (const StorageError& refused) {
    const char* reason = refused.error() == 0 ? nullptr : ::strerrordesc_np(refused.error());
    logAppUni("Storage", "Storage", kLogError, __LINE__, "Not stored: %.*s: %s%s%s", kShownPath,
              shown, refused.text(), reason == nullptr ? "" : ": ",
              reason == nullptr ? "" : reason);
  } catch (...) {
    logAppUni("Storage", "Storage", kLogError, __LINE__, "Not stored: %.*s: out of memory",
              kShownPath, shown);
  }
  return false;
}

}  // namespace

/// Throws StorageError, or std::bad_alloc, where `Storage` returns false; destructors then undo
/// what has been done.
class Storage::Impl {
 public:
  Impl(const std::string& root, const Limits& limits)
      : m_rootPath(withoutTrailingSlashes(root)), m_limits(limits) {}

  void init(const char* path, std::ios_base::openmode writeMode);
  void store(const char* name, const char* data, int size) const;
  void shutdown() noexcept;
  const char* path() const { return m_path.c_str(); }

 private:
  void openRoot();
  void write(const StoragePath& target, const char* data, std::size_t size) const;
  void replace(const StoragePath& target, StorageFolders& folders, StorageTemporary& file,
               const char* data, std::size_t size) const;

  const std::string m_rootPath;
  const Limits m_limits;
  // Set from init() to shutdown().
  StorageDescriptor m_root;
  StorageUsage* m_usage = nullptr;
  std::string m_path;
  StoragePath m_target;
  bool m_writable = false;
};

void Storage::Impl::init(const char* path, std::ios_base::openmode writeMode) {
  shutdown();
  if (path == nullptr) throw StorageError("no path given");
  m_target = StoragePath(m_rootPath, path, m_limits.depth);
  m_path = path;
  m_writable = (writeMode & std::ios_base::out) != 0;
  openRoot();
  StorageFolders folders(m_root.get(), *m_usage);
  if (folders.find(m_target) == 0) storageFileSize(folders.deepest(), m_target.name().c_str());
}

void Storage::Impl::openRoot() {
  const char* path = m_rootPath.empty() ? "/" : m_rootPath.c_str();
  m_root = StorageDescriptor(::open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!m_root) throw StorageError("can't open the root folder", errno);
  m_usage = &StorageUsage::of(m_root.get());
}

void Storage::Impl::store(const char* name, const char* data, int size) const {
  if (!m_root) throw StorageError("init was not called or failed");
  if (!m_writable) throw StorageError("not opened for writing");
  if (size < 0 || (data == nullptr && size > 0)) throw StorageError("no data");
  write(name == nullptr ? m_target : m_target.withName(name), data, static_cast<std::size_t>(size));
}

void Storage::Impl::shutdown() noexcept {
  m_root.reset();
  m_usage = nullptr;
  m_path.clear();
  m_target = StoragePath();
  m_writable = false;
}

// Writes to the disk without holding the lock. Objects that undo something are declared after the
// lock, so that they are destroyed while it is held.
void Storage::Impl::write(const StoragePath& target, const char* data, std::size_t size) const {
  StorageLock lock(m_root.get());
  StorageTemporary file(m_root.get(), *m_usage);
  StorageFolders folders(m_root.get(), *m_usage);
  std::size_t missing = folders.find(target);
  if (missing == 0 && storageFileHolds(folders.deepest(), target.name().c_str(), data, size)) {
    return;
  }

  lock.acquire();
  m_usage->admit(m_root.get(), {1 + missing, size}, m_limits);
  file.create(size);
  lock.release();
  try {
    file.fill(data, size);
  } catch (const StorageError&) {
    lock.acquire();  // to remove the file
    throw;
  }

  lock.acquire();
  missing = folders.find(target);
  if (missing > 0) m_usage->admit(m_root.get(), {missing, 0}, m_limits);
  replace(target, folders, file, data, size);
  lock.release();
  folders.sync();
}

void Storage::Impl::replace(const StoragePath& target, StorageFolders& folders,
                            StorageTemporary& file, const char* data, std::size_t size) const {
  folders.createMissing();
  const char* name = target.name().c_str();
  if (storageFileHolds(folders.deepest(), name, data, size)) {
    file.discard();  // another writer stored the same bytes meanwhile
    return;
  }
  StorageBackup backup(m_root.get(), folders.deepest(), target.name(), *m_usage);
  if (storageFileSize(folders.deepest(), name)) backup.make();
  file.moveTo(folders.deepest(), name);
  backup.keep();
  folders.keep();
}

const char* Storage::defaultRoot() { return "/data/images"; }

Storage::Storage() : Storage(defaultRoot(), Limits{}) {}

Storage::Storage(const std::string& root, const Limits& limits) {
  try {
    m_impl = std::make_unique<Impl>(root, limits);
  } catch (...) {
    // Out of memory: init() will return false.
  }
}

Storage::~Storage() = default;

bool Storage::init(const char* path, std::ios_base::openmode, std::ios_base::openmode writeMode) {
  const bool opened = m_impl && succeeds(path, [&] { m_impl->init(path, writeMode); });
  if (!opened) shutdown();
  return opened;
}

bool Storage::store(const char* name, char* data, int size) {
  return m_impl && succeeds(name == nullptr ? m_impl->path() : name,
                            [&] { m_impl->store(name, data, size); });
}

void Storage::shutdown() {
  if (m_impl) m_impl->shutdown();
}
