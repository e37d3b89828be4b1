#include "host/bluetooth/BluezObjects.h"

#include <algorithm>

#include "dbus/Values.h"
#include "host/bluetooth/Bluez.h"

namespace host {
namespace {

void setBool(GVariant* properties, const char* name, bool& value) {
  value = boolNamed(properties, name).value_or(value);
}

void setText(GVariant* properties, const char* name, std::string& value) {
  if (auto text = textNamed(properties, name)) value = std::move(*text);
}

void setAddress(GVariant* properties, std::string& value) {
  if (const auto text = textNamed(properties, "Address")) value = normalAddress(*text);
}

void read(GVariant* properties, AdapterFacts& adapter) {
  setAddress(properties, adapter.address);
  setText(properties, "Alias", adapter.name);
  setBool(properties, "Powered", adapter.powered);
  setBool(properties, "Discoverable", adapter.discoverable);
  if (const auto seconds = numberNamed(properties, "DiscoverableTimeout"))
    adapter.discoverableTimeout = *seconds;
  if (auto uuids = textsNamed(properties, "UUIDs")) adapter.uuids = std::move(*uuids);
}

void read(GVariant* properties, DeviceFacts& device) {
  setAddress(properties, device.address);
  setText(properties, "Name", device.name);
  setText(properties, "Alias", device.name);
  setBool(properties, "Paired", device.paired);
  setBool(properties, "Trusted", device.trusted);
  setBool(properties, "Blocked", device.blocked);
  setBool(properties, "Connected", device.connected);
  if (valueNamed(properties, "RSSI")) device.near = true;
  if (boolNamed(properties, "Paired") && boolNamed(properties, "Trusted") &&
      boolNamed(properties, "Blocked"))
    device.judged = true;
}

/// "/org/bluez/hci0" of "/org/bluez/hci0/dev_00_11_22_33_44_55".
std::string parentOf(const std::string& path) { return path.substr(0, path.rfind('/')); }

bool isOfType(GVariant* value, const char* type) {
  return value != nullptr && g_variant_is_of_type(value, G_VARIANT_TYPE(type)) != FALSE;
}

}  // namespace

std::string normalAddress(const std::string& text) {
  constexpr std::size_t kLength = 17;
  if (text.size() != kLength) return {};
  std::string address = text;
  for (std::size_t i = 0; i < kLength; ++i) {
    if (i % 3 == 2 ? text[i] != ':' : g_ascii_isxdigit(text[i]) == FALSE) return {};
    address[i] = g_ascii_toupper(text[i]);
  }
  return address;
}

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
  if (!isOfType(answer, "(a{oa{sa{sv}}})")) return false;
  const VariantPtr objects(g_variant_get_child_value(answer, 0));
  GVariantIter iterator;
  g_variant_iter_init(&iterator, objects.get());
  const char* path = nullptr;
  GVariant* raw = nullptr;
  while (g_variant_iter_next(&iterator, "{&o@a{sa{sv}}}", &path, &raw) != FALSE) {
    const VariantPtr interfaces(raw);
    take(path, interfaces.get());
  }
  return true;
}

void BluezObjects::added(GVariant* arguments) {
  if (!isOfType(arguments, "(oa{sa{sv}})")) return;
  const char* path = nullptr;
  GVariant* raw = nullptr;
  g_variant_get(arguments, "(&o@a{sa{sv}})", &path, &raw);
  const VariantPtr interfaces(raw);
  take(path, interfaces.get());
}

void BluezObjects::take(const std::string& path, GVariant* interfaces) {
  GVariantIter iterator;
  g_variant_iter_init(&iterator, interfaces);
  const char* interface = nullptr;
  GVariant* raw = nullptr;
  while (g_variant_iter_next(&iterator, "{&s@a{sv}}", &interface, &raw) != FALSE) {
    const VariantPtr properties(raw);
    takeInterface(path, interface, properties.get());
  }
}

// What is told of an object that is new begins with nothing known of it.
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
  if (!isOfType(arguments, "(oas)")) return;
  const char* path = nullptr;
  GVariant* raw = nullptr;
  g_variant_get(arguments, "(&o@as)", &path, &raw);
  const VariantPtr interfaces(raw);
  for (gsize i = 0; i < g_variant_n_children(interfaces.get()); ++i) {
    const VariantPtr name(g_variant_get_child_value(interfaces.get(), i));
    const std::string interface = g_variant_get_string(name.get(), nullptr);
    if (interface == bluez::kAdapter) m_adapters.erase(path);
    if (interface == bluez::kDevice) m_devices.erase(path);
  }
}

void BluezObjects::changed(const std::string& path, GVariant* arguments) {
  if (!isOfType(arguments, "(sa{sv}as)")) return;
  const char* interface = nullptr;
  GVariant* raw = nullptr;
  g_variant_get(arguments, "(&s@a{sv}@as)", &interface, &raw, nullptr);
  const VariantPtr properties(raw);
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
