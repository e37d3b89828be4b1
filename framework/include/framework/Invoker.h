#pragma once

#include "framework/Export.h"

class Executable;
class FrameworkContext;
class InvokerResponse;

/// The receiving end of a service: the framework hands it every message that was sent to the
/// service.
///
/// Threads: the framework thread, one message at a time.
class FRAMEWORK_API Invoker {
 public:
  virtual ~Invoker() = default;

  /// Handles one message for `executable`. `data` has `length` bytes in the format that `response`
  /// names, and is the framework's. Takes ownership of `response`.
  virtual void handleMessage(Executable* executable, const char* data, int length,
                             InvokerResponse* response) = 0;
  /// Called once, before the first message. The context outlives the invoker.
  virtual void initInvoker(FrameworkContext* context) { static_cast<void>(context); }

 protected:
  Invoker() = default;
  Invoker(const Invoker&) = default;
  Invoker& operator=(const Invoker&) = default;
};
