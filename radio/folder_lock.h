// Holds the folder's lock: one process at a time makes or removes the name of a listener.
//
// All signals are held back meanwhile, so that no handler of this thread can ask for the lock again
// and wait for itself. The lock is given back explicitly, since a child forked by another thread
// in between has a copy of the descriptor.
#ifndef RADIO_FOLDER_LOCK_H_
#define RADIO_FOLDER_LOCK_H_

#include <csignal>

namespace radio {

class FolderLock {
 public:
  enum class Patience { kWait, kTryOnce };

  FolderLock(int folder, Patience patience);
  ~FolderLock();
  FolderLock(const FolderLock&) = delete;
  FolderLock& operator=(const FolderLock&) = delete;

  // 0, or the negative error number why the lock is not held.
  int error() const { return error_; }

 private:
  sigset_t signals_;
  int fd_ = -1;
  int error_ = 0;
};

}  // namespace radio

#endif  // RADIO_FOLDER_LOCK_H_
