#pragma once

#include "framework/Export.h"

class Method;

/// Sends messages to the process that a proxy represents.
///
/// Threads: any thread may call.
class FRAMEWORK_API ProxyRequest {
 public:
  virtual ~ProxyRequest() = default;

  /// Queues a message and returns whether it was accepted, without waiting for the receiver.
  /// Messages are delivered in order; those that can't be are logged. Never throws.
  virtual bool send(const Method& method) = 0;

 protected:
  ProxyRequest() = default;
  ProxyRequest(const ProxyRequest&) = default;
  ProxyRequest& operator=(const ProxyRequest&) = default;
};
