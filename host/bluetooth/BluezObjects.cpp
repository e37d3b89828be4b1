#include "host/bluetooth/BluezObjects.h"

#include <algorithm>

#include "dbus/Values.h"
#include "host/bluetooth/Address.h"
#include "host/bluetooth/Bluez.h"

namespace host {
namespace {

void setBool(GVariant* properties, const char* name, bool& value) {
  value = dbus::boolNamed(properties, name).value_or(value);
}

void setText(GVariant* properties, const char* name, std::string& value) {
  if (auto text = dbus::textNamed(properties, name)) value = std::move(*text);
}

void setAddress(GVariant* properties, std::string& value) {
  if (const auto text = dbus::textNamed(properties, "Address")) value = normalAddress(*text);
}

void read(GVariant* properties, AdapterFacts& adapter) {
  setAddress(properties, adapter.address);
  setText(properties, "Alias", adapter.name);
  setBool(properties, "Powered", adapter.powered);
  setBool(properties, "Discoverable", adapter.discoverable);
  if (auto uuids = dbus::textsNamed(properties, "UUIDs")) adapter.uuids = std::move(*uuids);
}

void read(GVariant* properties, DeviceFacts& device) {
  setAddress(properties, device.address);
  setText(properties, "Name", device.name);
  setText(properties, "Alias", device.name);
  setBool(properties, "Paired", device.paired);
  setBool(properties, "Trusted", device.trusted);
  setBool(properties, "Blocked", device.blocked);
  setBool(properties, "Connected", device.connected);
  if (dbus::valueNamed(properties, "RSSI")) device.near = true;
  if (dbus::boolNamed(properties, "Paired") && dbus::boolNamed(properties, "Trusted") &&
      dbus::boolNamed(properties, "Blocked"))
    device.judged = true;
}

/// "/org/bluez/hci0" of "/org/bluez/hci0/dev_00_11_22_33_44_55".
std::string parentOf(const std::string& path) { return path.substr(0, path.rfind('/')); }

}  // namespace

std::string AdapterFacts::shortName() const { return path.substr(path.rfind('/') + 1); }

bool AdapterFacts::offers(const std::string& uuid) const {
  return std::any_of(uuids.begin(), uuids.end(), [&](const std::string& offered) {
    return g_ascii_strcasecmp(offered.c_str(), uuid.c_str()) == 0;
  });
}

void BluezObjects::clear() {
  m_adapters.clear();
  m_devices.clear();
  m_complete = true;
}

bool BluezObjects::reset(GVariant* answer) {
  clear();
  if (!dbus::isOfType(answer, "(a{oa{sa{sv}}})")) return false;
  const dbus::VariantPtr objects(g_variant_get_child_value(answer, 0));
  GVariantIter iterator;
  g_variant_iter_init(&iterator, objects.get());
  const char* path = nullptr;
  GVariant* raw = nullptr;
  while (g_variant_iter_next(&iterator, "{&o@a{sa{sv}}}", &path, &raw) != FALSE) {
    const dbus::VariantPtr interfaces(raw);
    take(path, interfaces.get());
  }
  return true;
}

void BluezObjects::added(GVariant* arguments) {
  if (!dbus::isOfType(arguments, "(oa{sa{sv}})")) return;
  const char* path = nullptr;
  GVariant* raw = nullptr;
  g_variant_get(arguments, "(&o@a{sa{sv}})", &path, &raw);
  const dbus::VariantPtr interfaces(raw);
  take(path, interfaces.get());
}

void BluezObjects::take(const std::string& path, GVariant* interfaces) {
  GVariantIter iterator;
  g_variant_iter_init(&iterator, interfaces);
  const char* interface = nullptr;
  GVariant* raw = nullptr;
  while (g_variant_iter_next(&iterator, "{&s@a{sv}}", &interface, &raw) != FALSE) {
    const dbus::VariantPtr properties(raw);
    takeInterface(path, interface, properties.get());
  }
}

// An object that is added again starts from nothing.
void BluezObjects::takeInterface(const std::string& path, const std::string& interface,
                                 GVariant* properties) {
  if (interface == bluez::kAdapter) {
    m_adapters.erase(path);
    if (!hasRoom()) return;
    AdapterFacts& adapter = m_adapters[path];
    adapter.path = path;
    read(properties, adapter);
  } else if (interface == bluez::kDevice) {
    m_devices.erase(path);
    if (!hasRoom()) return;
    DeviceFacts& device = m_devices[path];
    device.path = path;
    device.adapter = parentOf(path);
    read(properties, device);
  }
}

bool BluezObjects::hasRoom() {
  if (m_adapters.size() + m_devices.size() < kMaxObjects) return true;
  m_complete = false;
  return false;
}

void BluezObjects::removed(GVariant* arguments) {
  if (!dbus::isOfType(arguments, "(oas)")) return;
  const char* path = nullptr;
  GVariant* raw = nullptr;
  g_variant_get(arguments, "(&o@as)", &path, &raw);
  const dbus::VariantPtr interfaces(raw);
  for (gsize i = 0; i < g_variant_n_children(interfaces.get()); ++i) {
    const dbus::VariantPtr name(g_variant_get_child_value(interfaces.get(), i));
    const std::string interface = g_variant_get_string(name.get(), nullptr);
    if (interface == bluez::kAdapter) m_adapters.erase(path);
    if (interface == bluez::kDevice) m_devices.erase(path);
  }
}

void BluezObjects::changed(const std::string& path, GVariant* arguments) {
  if (!dbus::isOfType(arguments, "(sa{sv}as)")) return;
  const char* interface = nullptr;
  GVariant* raw = nullptr;
  g_variant_get(arguments, "(&s@a{sv}@as)", &interface, &raw, nullptr);
  const dbus::VariantPtr properties(raw);
  const auto adapter = m_adapters.find(path);
  const auto device = m_devices.find(path);
  if (std::string(interface) == bluez::kAdapter && adapter != m_adapters.end())
    read(properties.get(), adapter->second);
  if (std::string(interface) == bluez::kDevice && device != m_devices.end())
    read(properties.get(), device->second);
}

const AdapterFacts* BluezObjects::adapter(const std::string& wanted) const {
  for (const auto& [path, adapter] : m_adapters) {
    if (wanted.empty() || adapter.shortName() == wanted ||
        (!adapter.address.empty() && adapter.address == normalAddress(wanted)))
      return &adapter;
  }
  return nullptr;
}

}  // namespace host
