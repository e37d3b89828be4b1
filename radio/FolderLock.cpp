#include "radio/FolderLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <time.h>

#include <cerrno>

#include "radio/Kernel.h"

namespace radio {
namespace {

// The C library's own function would leave thread cancellation possible.
void setSignalMask(const sigset_t* mask, sigset_t* old) {
  static_cast<void>(kernel::call(SYS_rt_sigprocmask, SIG_SETMASK, mask, old, _NSIG / 8));
}

constexpr int kTries = 10000;

void pauseBetweenTries() {
  const kernel::KeepErrno keep;
  const timespec millisecond = {0, 1000000};
  nanosleep(&millisecond, nullptr);
}

}  // namespace

FolderLock::FolderLock(int folder, Patience timeout) {
  m_fd = kernel::call(SYS_openat, folder, "lock", O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
  m_error = m_fd < 0 ? m_fd : -EAGAIN;
  if (m_fd < 0) return;
  tryOnce();
  const int tries = timeout == Patience::kWait ? kTries : 0;
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

}  // namespace radio
