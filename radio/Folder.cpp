#include "radio/Folder.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "radio/Kernel.h"

namespace radio {
namespace {

// Holds the folder's lock, so that one process at a time creates or removes a listener's file.
//
// Blocks all signals while it holds the lock, because a handler that takes the lock again would
// deadlock; signals are delivered while it waits. Unlocks explicitly, because a child forked by
// another thread may hold a copy of the descriptor.
class FolderLock {
 public:
  // kWait gives up with -EBUSY after ten seconds: the holder must have been stopped.
  enum class Mode { kWait, kTryOnce };

  FolderLock(int folder, Mode mode);
  ~FolderLock();
  FolderLock(const FolderLock&) = delete;
  FolderLock& operator=(const FolderLock&) = delete;

  // 0 when the lock is held, otherwise a negative errno.
  int error() const { return m_error; }

 private:
  void tryOnce();

  sigset_t m_signals;
  int m_fd = -1;
  int m_error = 0;
};

// pthread_sigmask() would leave the C library's cancellation signal unblocked.
void setSignalMask(const sigset_t* mask, sigset_t* old) {
  static_cast<void>(kernel::call(SYS_rt_sigprocmask, SIG_SETMASK, mask, old, _NSIG / 8));
}

constexpr int kTries = 10000;

void pauseBetweenTries() {
  const kernel::KeepErrno keep;
  const timespec millisecond = {0, 1000000};
  nanosleep(&millisecond, nullptr);
}

FolderLock::FolderLock(int folder, Mode mode) {
  m_fd = kernel::call(SYS_openat, folder, "lock", O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
  m_error = m_fd < 0 ? m_fd : -EAGAIN;
  if (m_fd < 0) return;
  tryOnce();
  const int tries = mode == Mode::kWait ? kTries : 0;
  for (int i = 0; m_error == -EAGAIN && i < tries; ++i) {
    pauseBetweenTries();
    tryOnce();
  }
  if (m_error == -EAGAIN) m_error = -EBUSY;
}

FolderLock::~FolderLock() {
  if (m_error == 0) static_cast<void>(kernel::call(SYS_flock, m_fd, LOCK_UN));
  if (m_fd >= 0) kernel::close(m_fd);
  if (m_error == 0) setSignalMask(&m_signals, nullptr);
}

void FolderLock::tryOnce() {
  sigset_t all;
  sigfillset(&all);
  sigemptyset(&m_signals);
  setSignalMask(&all, &m_signals);
  m_error = kernel::call(SYS_flock, m_fd, LOCK_EX | LOCK_NB);
  if (m_error != 0) setSignalMask(&m_signals, nullptr);
}

// Null for an empty variable too.
const char* environment(const char* name) {
  const char* value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe): only read
  return value != nullptr && *value != '\0' ? value : nullptr;
}

int openFolder(const char* path) {
  return kernel::call(SYS_openat, AT_FDCWD, path, O_PATH | O_DIRECTORY | O_CLOEXEC, 0);
}

// Another user who can write to the folder could pose as a listener.
int checkOwner(int fd) {
  const kernel::KeepErrno keep;
  struct stat status = {};
  if (fstat(fd, &status) < 0) return -errno;
  return status.st_uid == geteuid() && (status.st_mode & (S_IWGRP | S_IWOTH)) == 0 ? 0 : -EPERM;
}

}  // namespace

Folder::Folder() {
  m_error = readPath();
  if (m_error == 0) m_error = open();
}

Folder::~Folder() {
  if (m_fd >= 0) kernel::close(m_fd);
}

int Folder::readPath() {
  int length = 0;
  const char* chosen = environment(kFolderVariable);
  const char* runtime = environment("XDG_RUNTIME_DIR");
  m_default = chosen == nullptr;
  if (chosen != nullptr) {
    length = std::snprintf(m_path, sizeof m_path, "%s", chosen);
  } else if (runtime != nullptr) {
    length = std::snprintf(m_path, sizeof m_path, "%s/virtual-radio", runtime);
  } else {
    length = std::snprintf(m_path, sizeof m_path, "/tmp/virtual-radio-%u", geteuid());
  }
  return length < 0 || static_cast<size_t>(length) >= sizeof m_path ? -ENAMETOOLONG : 0;
}

int Folder::open() {
  m_fd = openFolder(m_path);
  if (m_fd == -ENOENT) {
    const int made = kernel::call(SYS_mkdirat, AT_FDCWD, m_path, 0700);
    if (made < 0 && made != -EEXIST) return made;
    m_fd = openFolder(m_path);
  }
  if (m_fd < 0) return m_fd;
  return m_default ? checkOwner(m_fd) : 0;
}

int Folder::addAdapter(const bdaddr_t& address) {
  char name[kDigits + 1] = "";
  formatDigits(address, name);
  const int fd =
      kernel::call(SYS_openat, m_fd, name, O_RDONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
  if (fd < 0) return fd;
  kernel::close(fd);
  return 0;
}

bool Folder::hasAdapter(const bdaddr_t& address) const {
  const kernel::KeepErrno keep;
  char name[kDigits + 1] = "";
  formatDigits(address, name);
  struct stat status = {};
  return fstatat(m_fd, name, &status, AT_SYMLINK_NOFOLLOW) == 0;
}

int Folder::bind(int fd, const Endpoint& endpoint) {
  const FolderLock lock(m_fd, FolderLock::Mode::kWait);
  if (lock.error() != 0) return lock.error();
  const Name name = nameOf(endpoint);
  const int bound = kernel::bind(fd, &name.address, name.length);
  if (bound != -EADDRINUSE) return bound;
  removeIfDead(endpoint);
  return kernel::bind(fd, &name.address, name.length);
}

int Folder::connect(int fd, const Endpoint& endpoint) {
  const Name name = nameOf(endpoint);
  const int flags = kernel::getFlags(fd);
  if (flags < 0) return flags;
  // With a full backlog RFCOMM refuses; a blocking Unix socket would wait.
  const bool blocking = (flags & O_NONBLOCK) == 0;
  if (blocking) kernel::setFlags(fd, flags | O_NONBLOCK);
  const int connected = kernel::connect(fd, &name.address, name.length);
  if (blocking) kernel::setFlags(fd, flags);
  if (connected == -EAGAIN) return -ECONNREFUSED;
  if (connected == -ECONNREFUSED) removeDead(endpoint);
  if (connected == -ENOENT) return hasAdapter(endpoint.address) ? -ECONNREFUSED : -EHOSTDOWN;
  return connected;
}

void Folder::removeDead(const Endpoint& endpoint) {
  if (m_fd < 0 || !isDead(endpoint)) return;
  const FolderLock lock(m_fd, FolderLock::Mode::kTryOnce);
  if (lock.error() == 0) removeIfDead(endpoint);
}

void Folder::remove(const Endpoint& endpoint) {
  char name[kFileNameSize] = "";
  formatFileName(endpoint, name);
  static_cast<void>(kernel::call(SYS_unlinkat, m_fd, name, 0));
}

Name Folder::nameOf(const Endpoint& endpoint) const {
  char file[kFileNameSize] = "";
  formatFileName(endpoint, file);
  Name name;
  name.address.sun_family = AF_UNIX;
  constexpr size_t kSize = sizeof name.address.sun_path;
  const size_t length = std::strlen(m_path);
  if (length + 1 + sizeof file <= kSize) {
    std::memcpy(name.address.sun_path, m_path, length);
    std::snprintf(name.address.sun_path + length, kSize - length, "/%s", file);
  } else {
    std::snprintf(name.address.sun_path, kSize, "/proc/self/fd/%d/%s", m_fd, file);
  }
  name.length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) +
                                       std::strlen(name.address.sun_path) + 1);
  return name;
}

// Probes with a socket of another type, which a live listener doesn't notice.
bool Folder::isDead(const Endpoint& endpoint) const {
  const int probe = kernel::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (probe < 0) return false;
  const Name name = nameOf(endpoint);
  const bool dead = kernel::connect(probe, &name.address, name.length) == -ECONNREFUSED;
  kernel::close(probe);
  return dead;
}

void Folder::removeIfDead(const Endpoint& endpoint) {
  const kernel::KeepErrno keep;
  char name[kFileNameSize] = "";
  formatFileName(endpoint, name);
  struct stat status = {};
  // Never remove anything but a socket.
  if (fstatat(m_fd, name, &status, AT_SYMLINK_NOFOLLOW) < 0 || !S_ISSOCK(status.st_mode)) return;
  if (isDead(endpoint)) remove(endpoint);
}

}  // namespace radio
