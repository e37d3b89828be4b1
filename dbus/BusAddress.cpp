#include "dbus/BusAddress.h"

#include <giomm.h>

#include <algorithm>

namespace dbus {

bool BusAddress::valid(const std::string& text) {
  if (BusAddress(text).isWellKnown()) return true;
  // Addresses are shown to users as they are.
  if (std::any_of(text.begin(), text.end(), [](char c) { return g_ascii_iscntrl(c) != FALSE; }))
    return false;
  // GIO accepts an empty list of addresses.
  return !text.empty() && g_dbus_is_supported_address(text.c_str(), nullptr) != FALSE;
}

std::string BusAddress::resolve() const {
  if (!isWellKnown()) return m_text;
  const GBusType type = isSession() ? G_BUS_TYPE_SESSION : G_BUS_TYPE_SYSTEM;
  GError* error = nullptr;
  // giomm's wrapper loses the error.
  char* const found = g_dbus_address_get_for_bus_sync(type, nullptr, &error);
  if (found == nullptr) throw Gio::Error(error);
  std::string address = found;
  g_free(found);
  return address;
}

std::string BusAddress::describe() const {
  return isWellKnown() ? "the " + m_text + " bus" : "the bus at " + m_text;
}

std::string BusAddress::option() const { return isSession() ? "" : " --bus " + m_text; }

}  // namespace dbus
