#pragma once

#include <string>

#include "framework/Export.h"
#include "framework/GPALThreadPriority.h"

class Threadable;

/// Starts and joins threads. Stateless: all Threaders share the process's table of threads.
///
/// Threads: any thread may call.
class FRAMEWORK_API Threader {
 public:
  /// Runs `threadable->run()` on a new thread. Returns true and stores the thread's id in `id`; ids
  /// start at 1 and are never reused. Returns false and leaves `id` unchanged if the system refuses
  /// the thread or `threadable` is null or still running.
  ///
  /// The caller keeps ownership of `threadable`. `name` is the thread's name in system tools, cut
  /// to 15 bytes; if empty, the thread inherits the caller's. The last two arguments, priority and
  /// options, are ignored: the thread has the priority of the process.
  bool spawn(unsigned long& id, Threadable* threadable, const std::string& name,
             GPALThreadPriority priority, int options);

  /// Releases a thread, waiting for it to end. Does nothing if the thread has been joined, if no
  /// thread has this id, and on the thread itself.
  void destroy(unsigned long id);
};
