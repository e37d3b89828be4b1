#include "radio/folder_lock.h"

#include <fcntl.h>
#include <sys/file.h>

#include "radio/kernel.h"

namespace radio {
namespace {

// The C library's own function would leave thread cancellation possible.
void SetSignalMask(const sigset_t* mask, sigset_t* old) {
  static_cast<void>(kernel::Call(SYS_rt_sigprocmask, SIG_SETMASK, mask, old, _NSIG / 8));
}

}  // namespace

FolderLock::FolderLock(int folder, Patience patience) {
  sigset_t all;
  sigfillset(&all);
  sigemptyset(&signals_);
  SetSignalMask(&all, &signals_);
  fd_ = kernel::Call(SYS_openat, folder, "lock", O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
  if (fd_ < 0) {
    error_ = fd_;
    return;
  }
  const int wish = patience == Patience::kWait ? LOCK_EX : LOCK_EX | LOCK_NB;
  error_ = kernel::Call(SYS_flock, fd_, wish);
}

FolderLock::~FolderLock() {
  if (fd_ >= 0) {
    if (error_ == 0) static_cast<void>(kernel::Call(SYS_flock, fd_, LOCK_UN));
    kernel::Close(fd_);
  }
  SetSignalMask(&signals_, nullptr);
}

}  // namespace radio
