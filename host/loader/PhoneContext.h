#pragma once

#include <map>
#include <string>

#include "framework/Context.h"
#include "framework/FrameworkContext.h"
#include "framework/JsonMessageSerializer.h"
#include "host/loader/ProxySource.h"

namespace host {

/// What this telephone offers to its service: the other services, the message format, and proxies
/// for other processes.
///
/// Threads: it is filled before the service's `init`, by one thread; from then on `getService` and
/// `getSerializer` may be called from any thread, `getProxy` from the framework thread. Nothing
/// that is put in is owned; all of it must outlive the service and its invoker.
class PhoneContext : public Context, public FrameworkContext {
 public:
  PhoneContext() = default;
  PhoneContext(const PhoneContext&) = delete;
  PhoneContext& operator=(const PhoneContext&) = delete;

  /// Offers a service under the name of its interface, in place of an earlier one of that name.
  void addService(const std::string& interfaceName, Executable& service);
  /// Without one, `getProxy` knows no process.
  void setProxySource(ProxySource& source) { m_proxies = &source; }

  Executable* getService(const std::string& interfaceName) override;
  MessageSerializer* getSerializer(const std::string& format) override;
  Proxy* getProxy(const std::string& interfaceName, const std::string& address) override;

 private:
  std::map<std::string, Executable*> m_services;
  ProxySource* m_proxies = nullptr;
  JsonMessageSerializer m_json;
};

}  // namespace host
