#include "radio/FolderLock.h"

#include <fcntl.h>
#include <sys/file.h>

#include "radio/Kernel.h"

namespace radio {
namespace {

// The C library's own function would leave thread cancellation possible.
void setSignalMask(const sigset_t* mask, sigset_t* old) {
  static_cast<void>(kernel::call(SYS_rt_sigprocmask, SIG_SETMASK, mask, old, _NSIG / 8));
}

}  // namespace

FolderLock::FolderLock(int folder, Patience patience) {
  sigset_t all;
  sigfillset(&all);
  sigemptyset(&m_signals);
  setSignalMask(&all, &m_signals);
  m_fd = kernel::call(SYS_openat, folder, "lock", O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
  if (m_fd < 0) {
    m_error = m_fd;
    return;
  }
  const int wish = patience == Patience::kWait ? LOCK_EX : LOCK_EX | LOCK_NB;
  m_error = kernel::call(SYS_flock, m_fd, wish);
}

FolderLock::~FolderLock() {
  if (m_fd >= 0) {
    if (m_error == 0) static_cast<void>(kernel::call(SYS_flock, m_fd, LOCK_UN));
    kernel::close(m_fd);
  }
  setSignalMask(&m_signals, nullptr);
}

}  // namespace radio
