#pragma once

#include "framework/Export.h"

/// A raw channel to another process, for services with a protocol of their own beside the
/// framework's messages.
///
/// Threads: any thread may call.
class FRAMEWORK_API CommsChannelIfc {
 public:
  virtual ~CommsChannelIfc() = default;

  /// Sends `length` bytes. Returns the number of bytes accepted, negative if the channel is closed.
  virtual int write(const char* data, int length) = 0;

 protected:
  CommsChannelIfc() = default;
  CommsChannelIfc(const CommsChannelIfc&) = default;
  CommsChannelIfc& operator=(const CommsChannelIfc&) = default;
};
