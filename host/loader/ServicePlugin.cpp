#include "host/loader/ServicePlugin.h"

#include <dlfcn.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <system_error>

namespace host {
namespace {

/// An introspection file is a page or two; one of this size is something else.
constexpr std::uintmax_t kMaxIntrospection = 1 << 20;

/// What the dynamic linker has to say of the last failure.
std::string linkerError() {
  const char* error = dlerror();  // NOLINT(concurrency-mt-unsafe): it is per thread on Linux.
  return error != nullptr ? error : "no reason given";
}

std::string absolutePath(const std::string& file) {
  std::error_code error;
  const std::filesystem::path path = std::filesystem::absolute(file, error);
  return error ? file : path.lexically_normal().string();
}

}  // namespace

ServicePlugin::ServicePlugin(const std::string& file, const ServiceNames& names)
    : m_names(names), m_file(absolutePath(file)) {
  std::error_code error;
  if (!std::filesystem::exists(m_file, error))
    throw std::runtime_error("there is no service plug-in at " + m_file);
  // Never closed: see the class. RTLD_NODELETE keeps it even if someone else should close it.
  void* library = dlopen(m_file.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
  if (library == nullptr)
    throw std::runtime_error("the service plug-in can't be loaded: " + linkerError());
  m_service = find(library, names.createService);
  m_invoker = find(library, names.createInvoker);
  m_observerProxy = find(library, names.createObserverProxy);
}

ServicePlugin::Factory ServicePlugin::find(void* library, const std::string& symbol) const {
  void* address = dlsym(library, symbol.c_str());
  if (address == nullptr)
    throw std::runtime_error(m_file + " is not a plug-in of the service " + m_names.service +
                             ": it has no entry point " + symbol);
  return reinterpret_cast<Factory>(address);
}

void* ServicePlugin::make(Factory factory, const std::string& symbol) const {
  void* object = factory();
  if (object == nullptr) throw std::runtime_error(symbol + " of " + m_file + " made nothing");
  return object;
}

// The entry points give up the type; each of these must name exactly the one that was given up.
std::unique_ptr<Service> ServicePlugin::createService() const {
  return std::unique_ptr<Service>(static_cast<Service*>(make(m_service, m_names.createService)));
}

std::unique_ptr<Invoker> ServicePlugin::createInvoker() const {
  return std::unique_ptr<Invoker>(static_cast<Invoker*>(make(m_invoker, m_names.createInvoker)));
}

std::unique_ptr<Proxy> ServicePlugin::createObserverProxy() const {
  return std::unique_ptr<Proxy>(
      static_cast<Proxy*>(make(m_observerProxy, m_names.createObserverProxy)));
}

std::string ServicePlugin::readIntrospection() const {
  const std::filesystem::path path =
      std::filesystem::path(m_file).parent_path() / m_names.introspectionFile;
  std::error_code error;
  const std::uintmax_t size = std::filesystem::file_size(path, error);
  std::ifstream in(path, std::ios::binary);
  if (error || !in || size > kMaxIntrospection)
    throw std::runtime_error("the description of the service's bus interface, " + path.string() +
                             ", can't be read: it belongs beside the plug-in");
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

}  // namespace host
