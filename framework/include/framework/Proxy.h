#pragma once

#include "framework/Executable.h"
#include "framework/Export.h"

class ProxyRequest;

/// Stands in this process for an object of another one: what is called on it is sent there.
class FRAMEWORK_API Proxy : public Executable {
 public:
  void init(Context& context) override { static_cast<void>(context); }
  void shutdown() override {}
  /// Binds the proxy to the other process; called once, before anything else. `request` outlives
  /// the proxy.
  virtual void initProxy(ProxyRequest& request) = 0;
};
