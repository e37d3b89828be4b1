#include "host/loader/ServicePlugin.h"

#include <dlfcn.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <system_error>

namespace host {
namespace {

/// Largest introspection file, in bytes.
constexpr std::uintmax_t kMaxIntrospection = 1 << 20;

std::string linkerError() {
  const char* error = dlerror();  // NOLINT(concurrency-mt-unsafe): per thread on Linux.
  return error != nullptr ? error : "unknown error";
}

std::string absolutePath(const std::string& file) {
  std::error_code error;
  const std::filesystem::path path = std::filesystem::absolute(file, error);
  return error ? file : path.lexically_normal().string();
}

std::string lowerCase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  });
  return text;
}

}  // namespace

ServiceNames::ServiceNames(const std::string& name)
    : service(name),
      createService("create" + name),
      createInvoker("create" + name + "Invoker"),
      createObserverProxy("create" + name + "ObserverProxy"),
      observerIfc(name + "ObserverIfc"),
      interface("org.obexphone." + name + "Ifc"),
      path("/org/obexphone/" + name),
      observerInterface("org.obexphone." + name + "ObserverIfc"),
      observerPath("/org/obexphone/" + name + "Observer"),
      introspectionFile(lowerCase(name) + ".xml") {}

ServicePlugin::ServicePlugin(const std::string& file, const ServiceNames& names)
    : m_names(names), m_file(absolutePath(file)) {
  std::error_code error;
  if (!std::filesystem::exists(m_file, error))
    throw std::runtime_error("no service plug-in at " + m_file);
  // Never closed (see the class); RTLD_NODELETE keeps it loaded even if other code closes it.
  void* library = dlopen(m_file.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
  if (library == nullptr)
    throw std::runtime_error("can't load the service plug-in: " + linkerError());
  m_service = find(library, names.createService);
  m_invoker = find(library, names.createInvoker);
  m_observerProxy = find(library, names.createObserverProxy);
}

ServicePlugin::Factory ServicePlugin::find(void* library, const std::string& symbol) const {
  void* address = dlsym(library, symbol.c_str());
  if (address == nullptr)
    throw std::runtime_error(m_file + " is not a plug-in for " + m_names.service +
                             ": entry point " + symbol + " is missing");
  return reinterpret_cast<Factory>(address);
}

void* ServicePlugin::make(Factory factory, const std::string& symbol) const {
  void* object = factory();
  if (object == nullptr) throw std::runtime_error(symbol + " of " + m_file + " returned null");
  return object;
}

// The entry points return void*: cast back to exactly the type they cast from.
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
    throw std::runtime_error("can't read the introspection file " + path.string() +
                             ": it must be in the plug-in's directory");
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

}  // namespace host
