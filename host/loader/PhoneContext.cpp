#include "host/loader/PhoneContext.h"

namespace host {

void PhoneContext::addService(const std::string& interfaceName, Executable& service) {
  m_services[interfaceName] = &service;
}

Executable* PhoneContext::getService(const std::string& interfaceName) {
  const auto found = m_services.find(interfaceName);
  return found != m_services.end() ? found->second : nullptr;
}

MessageSerializer* PhoneContext::getSerializer(const std::string& format) {
  return format == JsonMessageSerializer::formatName() ? &m_json : nullptr;
}

Proxy* PhoneContext::getProxy(const std::string& interfaceName, const std::string& address) {
  return m_proxies != nullptr ? m_proxies->getProxy(interfaceName, address) : nullptr;
}

}  // namespace host
