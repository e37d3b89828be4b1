#pragma once

#include <memory>
#include <string>

#include "framework/Invoker.h"
#include "framework/Proxy.h"
#include "framework/Service.h"

namespace host {

/// All names of a service, derived from its class name, so that nothing else in the host depends on
/// which service it runs. The examples are those of "OBEXService".
struct ServiceNames {
  explicit ServiceNames(const std::string& service);

  std::string service;

  // Entry points of the plug-in.
  std::string createService;        ///< "createOBEXService"
  std::string createInvoker;        ///< "createOBEXServiceInvoker"
  std::string createObserverProxy;  ///< "createOBEXServiceObserverProxy"

  /// What the invoker asks `getProxy` for: "OBEXServiceObserverIfc".
  std::string observerIfc;

  // On the message bus.
  std::string interface;          ///< "org.obexphone.OBEXServiceIfc"
  std::string path;               ///< "/org/obexphone/OBEXService"
  std::string observerInterface;  ///< "org.obexphone.OBEXServiceObserverIfc"
  std::string observerPath;       ///< "/org/obexphone/OBEXServiceObserver"

  /// The introspection XML beside the plug-in: "obexservice.xml".
  std::string introspectionFile;
};

/// The plug-in: a service's shared library, loaded into this process.
///
/// The library is never unloaded, not even with this object, because threads and objects of the
/// service may still run its code.
///
/// Threads: any, one at a time. The caller owns what the functions return. Errors are
/// std::runtime_error with a message for the user.
class ServicePlugin {
 public:
  /// Loads the library and looks up its entry points.
  ServicePlugin(const std::string& file, const ServiceNames& names);

  [[nodiscard]] std::unique_ptr<Service> createService() const;
  [[nodiscard]] std::unique_ptr<Invoker> createInvoker() const;
  [[nodiscard]] std::unique_ptr<Proxy> createObserverProxy() const;

  /// Absolute path of the library.
  [[nodiscard]] const std::string& file() const { return m_file; }
  /// Reads the introspection XML of the service's bus interface.
  [[nodiscard]] std::string readIntrospection() const;

 private:
  using Factory = void* (*)();

  [[nodiscard]] Factory find(void* library, const std::string& symbol) const;
  [[nodiscard]] void* make(Factory factory, const std::string& symbol) const;

  const ServiceNames m_names;
  const std::string m_file;
  Factory m_service = nullptr;
  Factory m_invoker = nullptr;
  Factory m_observerProxy = nullptr;
};

}  // namespace host
