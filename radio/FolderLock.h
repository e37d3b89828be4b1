#pragma once

#include <csignal>

namespace radio {

/// Holds the folder's lock: one process at a time makes or removes the name of a listener.
///
/// All signals are held back meanwhile, so that no handler of this thread can ask for the lock
/// again and wait for itself. The lock is given back explicitly, since a child forked by another
/// thread in between has a copy of the descriptor.
class FolderLock {
 public:
  enum class Patience { kWait, kTryOnce };

  FolderLock(int folder, Patience patience);
  ~FolderLock();
  FolderLock(const FolderLock&) = delete;
  FolderLock& operator=(const FolderLock&) = delete;

  /// 0, or the negative error number why the lock is not held.
  int error() const { return m_error; }

 private:
  sigset_t m_signals;
  int m_fd = -1;
  int m_error = 0;
};

}  // namespace radio
