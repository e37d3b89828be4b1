#pragma once

#include "framework/Export.h"

class Context;

/// Base of services and proxies: an object that the framework creates, initialises and shuts down.
///
/// Threads: the framework thread calls all members. Ownership: the creator deletes the object,
/// through the framework type that the library's entry point returns.
class FRAMEWORK_API Executable {
 public:
  virtual ~Executable() = default;

  /// Called once, before any other member. The context outlives the object.
  virtual void init(Context& context) = 0;
  virtual void shutdown() = 0;
  /// Called when the object's timer `id` expires. The default does nothing.
  virtual void timerEvent(int id) { static_cast<void>(id); }

 protected:
  Executable() = default;
  Executable(const Executable&) = default;
  Executable& operator=(const Executable&) = default;
};
