#pragma once

#include <memory>

#include "framework/Export.h"

namespace framework_detail {
struct ThreadRecord;
}

/// An object whose `run` is executed on a thread of its own, started with `Threader::spawn`.
///
/// Threads: call `waitForThreadCompletion` from any thread. The object must outlive its thread; it
/// may be deleted as soon as `waitForThreadCompletion` has returned.
class FRAMEWORK_API Threadable {
 public:
  Threadable();
  /// Waits for a thread that is still running, as a last resort: the derived part of the object is
  /// already destroyed by then.
  virtual ~Threadable();
  Threadable(const Threadable&) = delete;
  Threadable& operator=(const Threadable&) = delete;

  /// The body of the thread. Must not throw.
  virtual void run() = 0;
  /// Scheduling priority on this platform; 0 is the default.
  virtual int getThreadPriorityForPlatform();
  /// Kind of thread; 0 is an ordinary one.
  virtual int type();

  /// Returns once the thread has ended, has been joined and no longer uses the object. Returns
  /// immediately if the object was never spawned, if its spawn failed, and on the object's own
  /// thread.
  void waitForThreadCompletion();

 private:
  friend class Threader;
  std::shared_ptr<framework_detail::ThreadRecord> m_record;
};
