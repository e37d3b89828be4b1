#include "StorageRoot.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <thread>

#include "StorageTemporary.h"
#include "StorageUsage.h"

namespace framework_detail {

namespace {

StorageDescriptor refused(int error) {
  errno = error;
  return {};
}

/// Takes the first component, with the slashes around it, off the path. "" when none is left.
std::string_view takeComponent(std::string_view& path) {
  while (!path.empty() && path.front() == '/') path.remove_prefix(1);
  const std::string_view component = path.substr(0, path.find('/'));
  path.remove_prefix(component.size());
  while (!path.empty() && path.front() == '/') path.remove_prefix(1);
  return component;
}

/// `openat` for one component, which is not followed when it is a link.
StorageDescriptor openComponent(int folder, std::string_view component, int flags) {
  char name[NAME_MAX + 1];
  if (component == "..") return refused(EXDEV);
  if (component.size() >= sizeof name) return refused(ENAMETOOLONG);
  std::memcpy(name, component.data(), component.size());
  name[component.size()] = '\0';
  return StorageDescriptor(::openat(folder, name, flags | O_NOFOLLOW | O_CLOEXEC));
}

}  // namespace

StorageDescriptor openBeneath(int root, const char* path, int flags) {
  StorageDescriptor opened = openBeneathByKernel(root, path, flags);
  if (opened || (errno != ENOSYS && errno != EPERM)) return opened;
  return openBeneathByHand(root, path, flags);
}

StorageDescriptor openBeneathByKernel(int root, const char* path, int flags) {
  open_how how{};
  how.flags = static_cast<std::uint64_t>(flags | O_CLOEXEC);
  how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS | RESOLVE_NO_MAGICLINKS;
  return StorageDescriptor(static_cast<int>(::syscall(SYS_openat2, root, path, &how, sizeof how)));
}

StorageDescriptor openBeneathByHand(int root, const char* path, int flags) {
  std::string_view rest = path;
  if (rest.empty()) return refused(ENOENT);
  if (rest.front() == '/') return refused(EXDEV);
  const bool folder = rest.back() == '/';
  std::string_view component = takeComponent(rest);
  StorageDescriptor above;
  int from = root;
  while (!rest.empty()) {
    StorageDescriptor next = openComponent(from, component, O_PATH | O_DIRECTORY);
    if (!next) return next;
    above = std::move(next);
    from = above.get();
    component = takeComponent(rest);
  }
  return openComponent(from, component, folder ? flags | O_DIRECTORY : flags);
}

namespace {

void checkComponent(std::string_view component) {
  if (component == "..") throw StorageError("the path has a \"..\" component");
  if (component.size() > NAME_MAX) throw StorageError("a name in the path is too long");
  if (StorageTemporaryName::reserved(component)) {
    throw StorageError("a name in the path is kept for unfinished files");
  }
}

}  // namespace

StoragePath::StoragePath(std::string_view root, std::string_view path, unsigned depth) {
  if (!path.starts_with('/')) throw StorageError("the path is not absolute");
  if (path.size() >= PATH_MAX) throw StorageError("the path is too long");
  if (!path.starts_with(root) || path.substr(root.size()).find('/') != 0) {
    throw StorageError("the path is not beneath the root");
  }
  path.remove_prefix(root.size() + 1);
  while (!path.empty()) {
    const std::size_t end = path.find('/');
    add(path.substr(0, end));
    path.remove_prefix(end == std::string_view::npos ? path.size() : end + 1);
    if (end != std::string_view::npos && path.empty()) add(path);
  }
  if (m_name.empty()) throw StorageError("the path names a folder");
  if (m_folders.size() > depth) throw StorageError("the path has too many folders");
}

StoragePath StoragePath::withName(std::string_view name) const {
  checkComponent(name);
  if (name.empty() || name == "." || name.find('/') != std::string_view::npos) {
    throw StorageError("the name is not one of a file");
  }
  StoragePath other(*this);
  other.m_name = name;
  return other;
}

std::string StoragePath::folderPath(std::size_t count) const {
  std::string path = ".";
  for (std::size_t i = 0; i < count; ++i) path.append("/").append(m_folders[i]);
  return path;
}

void StoragePath::add(std::string_view component) {
  checkComponent(component);
  if (!m_name.empty()) m_folders.push_back(std::move(m_name));
  m_name = component == "." ? std::string_view() : component;
}

void StorageLock::acquire() {
  using Clock = std::chrono::steady_clock;
  constexpr std::chrono::milliseconds longestPause{10};
  const Clock::time_point deadline = Clock::now() + m_timeout;
  std::chrono::milliseconds pause{1};
  while (::flock(m_root, LOCK_EX | LOCK_NB) != 0) {
    if (errno == EINTR) continue;
    if (errno != EWOULDBLOCK) throw StorageError("the root can't be locked", errno);
    if (Clock::now() >= deadline) throw StorageError("another program keeps the root locked");
    std::this_thread::sleep_for(pause);
    pause = std::min(pause * 2, longestPause);
  }
  m_held = true;
  m_usage.entered(m_root);
}

void StorageLock::release() noexcept {
  if (!m_held) return;
  m_held = false;
  m_usage.leaving(m_root);
  // Not left to the closing of the descriptor: a child process may have a copy of it.
  ::flock(m_root, LOCK_UN);
}

std::optional<std::uint64_t> storageFileSize(int folder, const char* name) {
  struct stat found {};
  if (::fstatat(folder, name, &found, AT_SYMLINK_NOFOLLOW) != 0) {
    if (errno == ENOENT) return std::nullopt;
    throw StorageError("the file's name can't be looked up", errno);
  }
  if (!S_ISREG(found.st_mode)) throw StorageError("the name is taken by what is not a file");
  return static_cast<std::uint64_t>(found.st_size);
}

bool storageFileHolds(int folder, const char* name, const char* data, std::size_t size) {
  if (storageFileSize(folder, name) != size) return false;
  // Without O_NONBLOCK the open would hang if the file were exchanged for a pipe at this moment.
  const StorageDescriptor file(
      ::openat(folder, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (!file) return false;
  std::array<char, 32768> buffer;
  std::size_t compared = 0;
  while (true) {
    const ssize_t got = ::read(file.get(), buffer.data(), buffer.size());
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return false;
    if (got == 0) return compared == size;
    const auto count = static_cast<std::size_t>(got);
    if (count > size - compared) return false;
    if (std::memcmp(buffer.data(), data + compared, count) != 0) return false;
    compared += count;
  }
}

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
