#pragma once

#include "framework/Export.h"

class Context;

/// What the framework can create, initialise and stop: every service and every proxy is one.
///
/// Threads: `init`, `shutdown` and `timerEvent` are called from the framework thread. Ownership:
/// whoever created the object deletes it, through the most derived framework type that the
/// library's entry point returned.
class FRAMEWORK_API Executable {
 public:
  virtual ~Executable() = default;

  /// Called once, before anything else. The context outlives the object.
  virtual void init(Context& context) = 0;
  virtual void shutdown() = 0;
  /// `id` is the number of a timer that the object asked for. Does nothing unless overridden.
  virtual void timerEvent(int id) { static_cast<void>(id); }

 protected:
  Executable() = default;
  Executable(const Executable&) = default;
  Executable& operator=(const Executable&) = default;
};
