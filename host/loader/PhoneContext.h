#pragma once

#include <functional>
#include <map>
#include <string>
#include <utility>

#include "framework/Context.h"
#include "framework/FrameworkContext.h"
#include "framework/JsonMessageSerializer.h"

namespace host {

/// What the host offers to the plug-in: other services, the message format, and proxies of the
/// processes that call it.
///
/// Threads: fill it from one thread before the service's `init`; afterwards `getService` and
/// `getSerializer` may be called from any thread, `getProxy` from the service thread. Services are
/// not owned and must outlive the plug-in's objects.
class PhoneContext : public Context, public FrameworkContext {
 public:
  using ProxySource =
      std::function<Proxy*(const std::string& interfaceName, const std::string& address)>;

  PhoneContext() = default;
  PhoneContext(const PhoneContext&) = delete;
  PhoneContext& operator=(const PhoneContext&) = delete;

  /// Registers a service under its interface name, replacing an earlier one.
  void addService(const std::string& interfaceName, Executable& service) {
    m_services[interfaceName] = &service;
  }
  /// Sets where `getProxy` gets proxies from. Without a source it returns null.
  void setProxySource(ProxySource source) { m_proxies = std::move(source); }

  Executable* getService(const std::string& interfaceName) override {
    const auto found = m_services.find(interfaceName);
    return found != m_services.end() ? found->second : nullptr;
  }
  MessageSerializer* getSerializer(const std::string& format) override {
    return format == JsonMessageSerializer::formatName() ? &m_json : nullptr;
  }
  Proxy* getProxy(const std::string& interfaceName, const std::string& address) override {
    return m_proxies ? m_proxies(interfaceName, address) : nullptr;
  }

 private:
  std::map<std::string, Executable*> m_services;
  ProxySource m_proxies;
  JsonMessageSerializer m_json;
};

}  // namespace host
