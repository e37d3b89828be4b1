#pragma once

#include <string>

class Proxy;

namespace host {

/// Whoever can reach other processes: where the context's proxies come from.
///
/// Threads: the framework thread.
class ProxySource {
 public:
  virtual ~ProxySource() = default;

  /// As `FrameworkContext::getProxy`.
  virtual Proxy* getProxy(const std::string& interfaceName, const std::string& address) = 0;

 protected:
  ProxySource() = default;
  ProxySource(const ProxySource&) = default;
  ProxySource& operator=(const ProxySource&) = default;
};

}  // namespace host
