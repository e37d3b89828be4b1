#pragma once

#include <string>

#include "framework/CommsChannelIfc.h"
#include "framework/Executable.h"
#include "framework/Export.h"
#include "framework/Threadable.h"

struct CommsChannelDataContainerMessage;

/// A service of the telephone. The framework creates it through its library's entry point, calls
/// `init`, then `run` (empty in a service without a thread of its own), delivers messages to its
/// invoker, and finally deletes it.
class FRAMEWORK_API Service : public Executable, public Threadable {
 public:
  /// Called for a raw message from `sender` on `channel`. `container` is an optional data block and
  /// may be null. The default does nothing.
  virtual void handleMsg(const char* /*data*/, int /*length*/, std::string /*sender*/,
                         CommsChannelIfc& /*channel*/,
                         CommsChannelDataContainerMessage* /*container*/) {}
};
