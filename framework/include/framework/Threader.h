#pragma once

#include <string>

#include "framework/Export.h"
#include "framework/GPALThreadPriority.h"

class Threadable;

/// Starts threads. Carries no state of its own: every Threader knows every thread of the process.
///
/// Threads: all operations may be called from any thread.
class FRAMEWORK_API Threader {
 public:
  /// Starts `threadable->run()` on a new thread. On success returns true and puts the thread's id
  /// into `id`; ids are numbers of the framework, start at 1 and are never used again. When the
  /// system refuses a thread, returns false and leaves `id` as it is. `threadable` is not owned;
  /// one that is already running is refused. `name` shows in the system's tools, cut to 15 bytes;
  /// an empty one leaves the name of the spawning thread. `priority` and `options` are accepted for
  /// compatibility: the thread runs at the process's own priority.
  bool spawn(unsigned long& id, Threadable* threadable, const std::string& name,
             GPALThreadPriority priority, int options);

  /// Releases what is kept of a thread. Waits for the end of one that still runs; does nothing for
  /// one that has been joined, for an id that was never given out, and on that thread itself.
  void destroy(unsigned long id);
};
