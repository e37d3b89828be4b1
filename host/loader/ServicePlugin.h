#pragma once

#include <memory>
#include <string>

#include "framework/Invoker.h"
#include "framework/Proxy.h"
#include "framework/Service.h"
#include "host/loader/ServiceNames.h"

namespace host {

/// A service's shared library, loaded into this process, and what its entry points make.
///
/// The library stays loaded until the process ends, also after this object is gone: threads and
/// objects of the service may still use its code.
///
/// Threads: any thread, one at a time. What is returned is the caller's. Errors come as
/// std::runtime_error with a sentence for the user.
class ServicePlugin {
 public:
  /// Loads the library at `file`, and finds all its entry points.
  ServicePlugin(const std::string& file, const ServiceNames& names);

  [[nodiscard]] std::unique_ptr<Service> createService() const;
  [[nodiscard]] std::unique_ptr<Invoker> createInvoker() const;
  [[nodiscard]] std::unique_ptr<Proxy> createObserverProxy() const;

  /// The library's absolute path.
  [[nodiscard]] const std::string& file() const { return m_file; }
  /// The description of the service's bus interface, which stands in a file beside the library.
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
