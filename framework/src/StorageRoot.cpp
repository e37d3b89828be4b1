#include "StorageRoot.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstring>
#include <thread>

#include "StorageTemporary.h"
#include "StorageUsage.h"

namespace framework_detail {

namespace {

StorageDescriptor failed(int error) {
  errno = error;
  return {};
}

// Removes the first component and the slashes around it from the path; "" if there is none.
std::string_view takeComponent(std::string_view& path) {
  while (!path.empty() && path.front() == '/') path.remove_prefix(1);
  const std::string_view component = path.substr(0, path.find('/'));
  path.remove_prefix(component.size());
  while (!path.empty() && path.front() == '/') path.remove_prefix(1);
  return component;
}

StorageDescriptor openComponent(int folder, std::string_view component, int flags) {
  char name[NAME_MAX + 1];
  if (component == "..") return failed(EXDEV);
  if (component.size() >= sizeof name) return failed(ENAMETOOLONG);
  std::memcpy(name, component.data(), component.size());
  name[component.size()] = '\0';
  return StorageDescriptor(::openat(folder, name, flags | O_NOFOLLOW | O_CLOEXEC));
}

void checkComponent(std::string_view component) {
  if (component == "..") throw StorageError("the path contains \"..\"");
  if (component.size() > NAME_MAX) throw StorageError("a name in the path is too long");
  if (StorageTemporaryName::reserved(component)) {
    throw StorageError("a name in the path is reserved for temporary files");
  }
}

constexpr int kFolder = O_RDONLY | O_DIRECTORY;

void syncFolder(int folder) {
  while (::fsync(folder) != 0) {
    if (errno == EINVAL) return;  // not supported for folders by this file system
    if (errno != EINTR) throw StorageError("can't sync a folder", errno);
  }
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
  if (rest.empty()) return failed(ENOENT);
  if (rest.front() == '/') return failed(EXDEV);
  const bool folder = rest.back() == '/';
  std::string_view component = takeComponent(rest);
  StorageDescriptor parent;
  int from = root;
  while (!rest.empty()) {
    StorageDescriptor next = openComponent(from, component, O_PATH | O_DIRECTORY);
    if (!next) return next;
    parent = std::move(next);
    from = parent.get();
    component = takeComponent(rest);
  }
  return openComponent(from, component, folder ? flags | O_DIRECTORY : flags);
}

std::optional<std::uint64_t> storageFileSize(int folder, const char* name) {
  struct stat found {};
  if (::fstatat(folder, name, &found, AT_SYMLINK_NOFOLLOW) != 0) {
    if (errno == ENOENT) return std::nullopt;
    throw StorageError("can't look up the file", errno);
  }
  if (!S_ISREG(found.st_mode)) throw StorageError("the name exists and is not a regular file");
  return static_cast<std::uint64_t>(found.st_size);
}

bool storageFileHolds(int folder, const char* name, const char* data, std::size_t size) {
  if (storageFileSize(folder, name) != size) return false;
  // O_NONBLOCK: someone may have replaced the file with a pipe, and opening that would block.
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

StoragePath::StoragePath(std::string_view root, std::string_view path, unsigned depth) {
  if (!path.starts_with('/')) throw StorageError("the path is not absolute");
  if (path.size() >= PATH_MAX) throw StorageError("the path is too long");
  if (!path.starts_with(root) || path.substr(root.size()).find('/') != 0) {
    throw StorageError("the path is not beneath the root folder");
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
    throw StorageError("not a file name");
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
    if (errno != EWOULDBLOCK) throw StorageError("can't lock the root folder", errno);
    if (Clock::now() >= deadline) throw StorageError("another process keeps the root locked");
    std::this_thread::sleep_for(pause);
    pause = std::min(pause * 2, longestPause);
  }
  m_held = true;
}

void StorageLock::release() noexcept {
  // Explicitly: closing the descriptor wouldn't release it while a child process has a copy.
  if (std::exchange(m_held, false)) ::flock(m_root, LOCK_UN);
}

std::size_t StorageFolders::find(const StoragePath& path) {
  m_path = path;
  std::size_t depth = path.folders().size();
  m_found = openBeneath(m_root, path.folderPath(depth).c_str(), kFolder);
  while (!m_found && errno == ENOENT && depth > 0) {
    --depth;
    m_found = openBeneath(m_root, path.folderPath(depth).c_str(), kFolder);
  }
  if (!m_found) throw StorageError("can't open the folder", errno);
  m_missing = path.folders().size() - depth;
  return m_missing;
}

void StorageFolders::createMissing() {
  const std::vector<std::string>& names = m_path.folders();
  m_created.reserve(m_missing);
  for (; m_missing > 0; --m_missing) {
    const char* name = names[names.size() - m_missing].c_str();
    const int from = deepest();
    if (::mkdirat(from, name, 0755) != 0) throw StorageError("can't create a folder", errno);
    m_created.push_back({name, {}});
    m_usage.add({1, 0});
    m_created.back().folder = openBeneath(from, name, kFolder);
    if (!m_created.back().folder) throw StorageError("can't open a folder", errno);
  }
}

int StorageFolders::deepest() const {
  return m_created.empty() ? m_found.get() : m_created.back().folder.get();
}

void StorageFolders::sync() const {
  syncFolder(deepest());
  for (std::size_t i = m_created.size(); i > 0; --i) syncFolder(parentOf(i - 1));
}

int StorageFolders::parentOf(std::size_t created) const {
  return created == 0 ? m_found.get() : m_created[created - 1].folder.get();
}

void StorageFolders::removeCreated() noexcept {
  if (m_kept) return;
  for (std::size_t i = m_created.size(); i > 0; --i) {
    if (::unlinkat(parentOf(i - 1), m_created[i - 1].name, AT_REMOVEDIR) == 0) {
      m_usage.remove({1, 0});
    }
  }
}

}  // namespace framework_detail
