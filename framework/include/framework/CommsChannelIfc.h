#pragma once

#include "framework/Export.h"

/// A raw channel to another process, for services that speak a protocol of their own beside the
/// framework's messages.
///
/// Threads: `write` may be called from any thread.
class FRAMEWORK_API CommsChannelIfc {
 public:
  virtual ~CommsChannelIfc() = default;

  /// Sends `length` bytes. Returns how many were taken, negative when the channel is closed.
  virtual int write(const char* data, int length) = 0;

 protected:
  CommsChannelIfc() = default;
  CommsChannelIfc(const CommsChannelIfc&) = default;
  CommsChannelIfc& operator=(const CommsChannelIfc&) = default;
};
