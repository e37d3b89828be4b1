#pragma once

#include "framework/Export.h"

class Executable;
class FrameworkContext;
class InvokerResponse;

/// Receives the messages that are sent to a service.
///
/// Threads: the framework thread calls all members, one at a time.
class FRAMEWORK_API Invoker {
 public:
  virtual ~Invoker() = default;

  /// Handles one message for `executable`: `length` bytes in the format `response->getFormat()`.
  /// `data` belongs to the framework. Takes ownership of `response`.
  virtual void handleMessage(Executable* executable, const char* data, int length,
                             InvokerResponse* response) = 0;
  /// Called once, before the first message. The context outlives the invoker. The default does
  /// nothing.
  virtual void initInvoker(FrameworkContext* context) { static_cast<void>(context); }

 protected:
  Invoker() = default;
  Invoker(const Invoker&) = default;
  Invoker& operator=(const Invoker&) = default;
};
