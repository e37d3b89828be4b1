#pragma once

#include <memory>

#include "framework/Export.h"

namespace framework_detail {
struct ThreadRecord;
}

/// Something with a body to run on a thread of its own. `Threader::spawn` starts it.
///
/// Threads: `waitForThreadCompletion` may be called from any thread but the object's own. The
/// object must outlive its thread; after `waitForThreadCompletion` returned it may be deleted at
/// once.
class FRAMEWORK_API Threadable {
 public:
  Threadable();
  /// Waits for a thread that still runs, as a last resort: by then the derived part of the object
  /// is gone.
  virtual ~Threadable();
  Threadable(const Threadable&) = delete;
  Threadable& operator=(const Threadable&) = delete;

  /// The thread's body. No exception may leave it.
  virtual void run() = 0;
  /// The scheduling priority on this platform; 0 is the ordinary one.
  virtual int getThreadPriorityForPlatform();
  /// The kind of thread; 0 is an ordinary one.
  virtual int type();

  /// Returns when the thread has ended, has been joined and no longer touches the object. Returns
  /// at once for an object that was never spawned, or whose spawn failed, and from the object's own
  /// thread, which can't wait for itself.
  void waitForThreadCompletion();

 private:
  friend class Threader;
  std::shared_ptr<framework_detail::ThreadRecord> m_record;
};
