#pragma once

#include <string>

#include "framework/CommsChannelIfc.h"
#include "framework/Executable.h"
#include "framework/Export.h"
#include "framework/Threadable.h"

struct CommsChannelDataContainerMessage;

/// A service of the telephone. The framework creates it through its library's entry point, calls
/// `init`, then `run` (which a service without a thread of its own leaves empty), then delivers
/// messages to its invoker, and deletes it.
class FRAMEWORK_API Service : public Executable, public Threadable {
 public:
  /// A raw message from `sender` that came on `channel`, with an optional data block (may be null).
  /// Does nothing unless overridden.
  virtual void handleMsg(const char* data, int length, std::string sender, CommsChannelIfc& channel,
                         CommsChannelDataContainerMessage* container);
};
