#include "tools/phonectl/BusPlace.h"

#include <giomm.h>

#include "cards/SafeText.h"
#include "tools/phonectl/Output.h"

namespace phonectl {

bool BusPlace::valid(const std::string& text) {
  if (text == "session" || text == "system") return true;
  // GIO takes a list of no addresses for one.
  if (text.empty()) return false;
  try {
    return Gio::DBus::Address::is_supported(text);
  } catch (const Glib::Error&) {
    return false;
  }
}

std::string BusPlace::address() const {
  if (m_text != "session" && m_text != "system") return m_text;
  const GBusType type = m_text == "system" ? G_BUS_TYPE_SYSTEM : G_BUS_TYPE_SESSION;
  GError* error = nullptr;
  // The C function: its wrapper can't tell when there is none.
  char* const found = g_dbus_address_get_for_bus_sync(type, nullptr, &error);
  if (found == nullptr) {
    const std::string reason = cards::safeText(error->message);
    g_error_free(error);
    throw Failure(kNotRunning, "there is no " + m_text + " bus here (" + reason + ")",
                  "name the phone's bus with --bus or PHONE_BUS");
  }
  std::string address = found;
  g_free(found);
  return address;
}

std::string BusPlace::shown() const {
  if (m_text == "session" || m_text == "system") return "the " + m_text + " bus";
  return "the bus at " + cards::safeText(m_text);
}

std::string BusPlace::option() const {
  return m_text == "session" ? "" : " --bus " + cards::safeText(m_text);
}

}  // namespace phonectl
