#include "host/bus/BusObject.h"

#include <exception>
#include <utility>

#include "host/bus/Limits.h"
#include "host/loader/HostLog.h"

namespace host {

BusObject::BusObject(const std::string& path, const std::string& interface, const std::string& xml,
                     Handler handler)
    : m_path(path),
      m_handler(std::move(handler)),
      m_vtable([this](const auto&, const auto&, const auto&, const auto&, const auto& method,
                      const auto& arguments,
                      const auto& invocation) { serve(method, arguments, invocation); }) {
  try {
    m_node = Gio::DBus::NodeInfo::create_for_xml(xml);
  } catch (const Glib::Error& error) {
    throw std::runtime_error("the description of " + interface + " can't be read: " + error.what());
  }
  m_interface = m_node->lookup_interface(interface);
  if (!m_interface) throw std::runtime_error("the description has no interface " + interface);
}

void BusObject::exportOn(const Glib::RefPtr<Gio::DBus::Connection>& connection) {
  connection->register_object(m_path, m_interface, m_vtable);
}

void BusObject::serve(const Glib::ustring& method, const Glib::VariantContainerBase& arguments,
                      const Glib::RefPtr<Gio::DBus::MethodInvocation>& invocation) {
  try {
    GVariant* raw = const_cast<GVariant*>(arguments.gobj());
    const Glib::VariantContainerBase reply(m_handler(method, raw), false);
    if (reply.get_size() > kMaxBody)
      throw BusError("org.freedesktop.DBus.Error.LimitsExceeded",
                     "the answer has " + std::to_string(reply.get_size()) +
                         " bytes, and the bus takes no more than " + std::to_string(kMaxBody));
    invocation->return_value(reply);
  } catch (const BusError& error) {
    invocation->return_dbus_error(error.name(), error.what());
  } catch (const std::exception& error) {
    HOST_LOG_ERROR("%s of %s failed: %s", method.c_str(), m_path.c_str(), error.what());
    invocation->return_dbus_error("org.freedesktop.DBus.Error.Failed", error.what());
  }
}

}  // namespace host
