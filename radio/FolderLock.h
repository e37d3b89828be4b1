#pragma once

#include <csignal>

namespace radio {

/// Holds the folder's lock: one process at a time makes or removes the name of a listener.
///
/// All signals are held back while it is held, so that no handler of this thread can ask for the
/// lock again and wait for itself; while it is waited for they are let through. The lock is given
/// back explicitly, since a child forked by another thread in between has a copy of the descriptor.
class FolderLock {
 public:
  /// To wait ends with -EBUSY after ten seconds: whoever holds the lock so long was stopped.
  enum class Patience { kWait, kTryOnce };

  FolderLock(int folder, Patience timeout);
  ~FolderLock();
  FolderLock(const FolderLock&) = delete;
  FolderLock& operator=(const FolderLock&) = delete;

  /// 0, or the negative error number why the lock is not held.
  int error() const { return m_error; }

 private:
  void tryOnce();

  sigset_t m_signals;
  int m_fd = -1;
  int m_error = 0;
};

}  // namespace radio
