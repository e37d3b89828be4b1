#pragma once

#include "framework/Export.h"

class Method;

/// The way from a proxy to the process it stands for.
///
/// Threads: `send` may be called from any thread and does not wait for the receiver.
class FRAMEWORK_API ProxyRequest {
 public:
  virtual ~ProxyRequest() = default;

  /// Hands one message over for delivery, in the order of the calls. Returns whether it was taken;
  /// what can't be delivered later is logged. No exception leaves it.
  virtual bool send(const Method& method) = 0;

 protected:
  ProxyRequest() = default;
  ProxyRequest(const ProxyRequest&) = default;
  ProxyRequest& operator=(const ProxyRequest&) = default;
};
