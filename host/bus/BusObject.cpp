#include "host/bus/BusObject.h"

#include <exception>
#include <utility>

#include "dbus/Values.h"
#include "host/bus/Arguments.h"
#include "host/loader/HostLog.h"

namespace host {
namespace {

constexpr const char* kDirectoryPath = "/org/obexphone/DirectoryService";
constexpr const char* kDirectoryInterface = "org.obexphone.DirectoryServiceIfc";
constexpr const char* kDirectoryXml = R"(
<node>
  <interface name="org.obexphone.DirectoryServiceIfc">
    <method name="handleRequest">
      <arg name="request" type="ay" direction="in"/>
      <arg name="answer" type="ay" direction="out"/>
    </method>
  </interface>
</node>)";

}  // namespace

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
    throw std::runtime_error("can't parse the introspection XML of " + interface + ": " +
                             error.what());
  }
  m_interface = m_node->lookup_interface(interface);
  if (!m_interface) throw std::runtime_error("the introspection XML has no interface " + interface);
}

void BusObject::exportOn(const Glib::RefPtr<Gio::DBus::Connection>& connection) {
  connection->register_object(m_path, m_interface, m_vtable);
}

std::set<std::string> BusObject::methods() const {
  std::set<std::string> names;
  GDBusMethodInfo** method = m_interface->gobj()->methods;
  for (; method != nullptr && *method != nullptr; ++method) names.insert((*method)->name);
  return names;
}

void BusObject::serve(const Glib::ustring& method, const Glib::VariantContainerBase& arguments,
                      const Glib::RefPtr<Gio::DBus::MethodInvocation>& invocation) {
  try {
    GVariant* raw = const_cast<GVariant*>(arguments.gobj());
    const Glib::VariantContainerBase reply(m_handler(method, raw), false);
    if (reply.get_size() > kMaxBody)
      throw BusError("org.freedesktop.DBus.Error.LimitsExceeded",
                     "the reply has " + std::to_string(reply.get_size()) +
                         " bytes; the limit of the bus is " + std::to_string(kMaxBody));
    invocation->return_value(reply);
  } catch (const BusError& error) {
    invocation->return_dbus_error(error.name(), error.what());
  } catch (const std::exception& error) {
    HOST_LOG_ERROR("%s of %s failed: %s", method.c_str(), m_path.c_str(), error.what());
    invocation->return_dbus_error("org.freedesktop.DBus.Error.Failed", error.what());
  }
}

std::unique_ptr<BusObject> makeServiceObject(const ServiceNames& names, const std::string& xml) {
  return std::make_unique<BusObject>(
      names.path, names.interface, xml, [](const std::string&, GVariant*) -> GVariant* {
        throw BusError("org.freedesktop.DBus.Error.Failed", "the telephone is stopping");
      });
}

std::unique_ptr<BusObject> makeDirectoryObject(DirectoryServiceIfc& directory) {
  return std::make_unique<BusObject>(
      kDirectoryPath, kDirectoryInterface, kDirectoryXml,
      [&directory](const std::string&, GVariant* arguments) {
        const dbus::VariantPtr request(g_variant_get_child_value(arguments, 0));
        const std::string answer = directory.handleRequest(*dbus::textIn(request.get()));
        GVariant* bytes = g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, answer.data(),
                                                    answer.size(), sizeof(guint8));
        return g_variant_ref_sink(g_variant_new_tuple(&bytes, 1));
      });
}

}  // namespace host
