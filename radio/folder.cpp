#include "radio/folder.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>

#include "radio/address.h"
#include "radio/kernel.h"

namespace radio {
namespace {

int OpenFolder(const char* path) {
  return kernel::Call(SYS_openat, AT_FDCWD, path, O_PATH | O_DIRECTORY | O_CLOEXEC, 0);
}

// A folder of somebody else, or one that others may write to, would let them pose as listeners.
int CheckOwner(int fd) {
  const kernel::KeepErrno keep;
  struct stat status = {};
  if (fstat(fd, &status) < 0) return -errno;
  return status.st_uid == geteuid() && (status.st_mode & (S_IWGRP | S_IWOTH)) == 0 ? 0 : -EPERM;
}

}  // namespace

Folder::Folder() {
  error_ = ReadFolderPath(&path_);
  if (error_ == 0) error_ = Open();
}

Folder::~Folder() {
  if (fd_ >= 0) kernel::Close(fd_);
}

int Folder::Open() {
  fd_ = OpenFolder(path_.text);
  if (fd_ == -ENOENT) {
    const int made = kernel::Call(SYS_mkdirat, AT_FDCWD, path_.text, 0700);
    if (made < 0 && made != -EEXIST) return made;
    fd_ = OpenFolder(path_.text);
  }
  if (fd_ < 0) return fd_;
  return path_.chosen ? 0 : CheckOwner(fd_);
}

int Folder::EnterAdapter(const bdaddr_t& address) {
  char name[kDigits + 1] = "";
  FormatDigits(address, name);
  const int fd =
      kernel::Call(SYS_openat, fd_, name, O_RDONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
  if (fd < 0) return fd;
  kernel::Close(fd);
  return 0;
}

bool Folder::KnowsAdapter(const bdaddr_t& address) const {
  const kernel::KeepErrno keep;
  char name[kDigits + 1] = "";
  FormatDigits(address, name);
  struct stat status = {};
  return fstatat(fd_, name, &status, AT_SYMLINK_NOFOLLOW) == 0;
}

int Folder::Bind(int fd, const Place& place) {
  const FolderLock lock(fd_, FolderLock::Patience::kWait);
  if (lock.error() != 0) return lock.error();
  const Name name = NameOf(place);
  const int bound = kernel::Bind(fd, &name.address, name.length);
  if (bound != -EADDRINUSE) return bound;
  RemoveIfDead(place);
  return kernel::Bind(fd, &name.address, name.length);
}

int Folder::Connect(int fd, const Place& place) {
  const Name name = NameOf(place);
  const int flags = kernel::GetFlags(fd);
  if (flags < 0) return flags;
  // A full backlog refuses on RFCOMM; a blocking local socket would wait for room instead.
  const bool blocking = (flags & O_NONBLOCK) == 0;
  if (blocking) kernel::SetFlags(fd, flags | O_NONBLOCK);
  const int connected = kernel::Connect(fd, &name.address, name.length);
  if (blocking) kernel::SetFlags(fd, flags);
  if (connected == -EAGAIN) return -ECONNREFUSED;
  if (connected == -ECONNREFUSED) RemoveDead(place, FolderLock::Patience::kWait);
  if (connected == -ENOENT) return KnowsAdapter(place.address) ? -ECONNREFUSED : -EHOSTDOWN;
  return connected;
}

void Folder::RemoveDead(const Place& place, FolderLock::Patience patience) {
  if (fd_ < 0 || !IsDead(place)) return;
  const FolderLock lock(fd_, patience);
  if (lock.error() == 0) RemoveIfDead(place);
}

void Folder::Remove(const Place& place) {
  char name[kFileNameSize] = "";
  FormatFileName(place, name);
  static_cast<void>(kernel::Call(SYS_unlinkat, fd_, name, 0));
}

Name Folder::NameOf(const Place& place) const {
  char file[kFileNameSize] = "";
  FormatFileName(place, file);
  Name name;
  name.address.sun_family = AF_UNIX;
  constexpr size_t kSize = sizeof name.address.sun_path;
  const size_t length = std::strlen(path_.text);
  if (length + 1 + sizeof file <= kSize) {
    std::memcpy(name.address.sun_path, path_.text, length);
    std::snprintf(name.address.sun_path + length, kSize - length, "/%s", file);
  } else {
    std::snprintf(name.address.sun_path, kSize, "/proc/self/fd/%d/%s", fd_, file);
  }
  name.length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) +
                                       std::strlen(name.address.sun_path) + 1);
  return name;
}

// Asks with a socket of the wrong type: a living listener is not disturbed by that.
bool Folder::IsDead(const Place& place) const {
  const int probe = kernel::Socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (probe < 0) return false;
  const Name name = NameOf(place);
  const bool dead = kernel::Connect(probe, &name.address, name.length) == -ECONNREFUSED;
  kernel::Close(probe);
  return dead;
}

void Folder::RemoveIfDead(const Place& place) {
  const kernel::KeepErrno keep;
  char name[kFileNameSize] = "";
  FormatFileName(place, name);
  struct stat status = {};
  // What is no socket is not the radio's to remove.
  if (fstatat(fd_, name, &status, AT_SYMLINK_NOFOLLOW) < 0 || !S_ISSOCK(status.st_mode)) return;
  if (IsDead(place)) Remove(place);
}

}  // namespace radio
