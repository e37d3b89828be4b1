#include "StorageOpen.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/syscall.h>

#include <climits>
#include <cstdint>
#include <cstring>
#include <string_view>

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

}  // namespace framework_detail
