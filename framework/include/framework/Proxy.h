#pragma once

#include "framework/Executable.h"
#include "framework/Export.h"

class ProxyRequest;

/// Represents an object of another process: sends that process a message for each call.
class FRAMEWORK_API Proxy : public Executable {
 public:
  void init(Context& context) override { static_cast<void>(context); }
  void shutdown() override {}
  /// Binds the proxy to the other process. Called once, before any other member. `request` outlives
  /// the proxy.
  virtual void initProxy(ProxyRequest& request) = 0;
};
