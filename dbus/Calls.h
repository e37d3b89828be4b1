#pragma once

#include <giomm.h>
#include <sys/types.h>

#include <string>

#include "dbus/Values.h"

// Blocking calls to the bus daemon, and the errors of calls. Threads: any.
namespace dbus {

using Connection = Glib::RefPtr<Gio::DBus::Connection>;

/// Calls a method of the bus daemon and waits up to 10 s. `arguments` is a tuple and may be
/// floating. Throws Glib::Error.
VariantPtr callDaemon(const Connection& connection, const char* method, GVariant* arguments);

/// The process that owns a name on the bus; 0 if nobody does or the bus doesn't tell.
pid_t processOwning(const Connection& connection, const std::string& name);

/// The text of an error, without the D-Bus error name in front of it. May hold anything.
std::string messageOf(const Glib::Error& error);
/// The name of a D-Bus error: "org.bluez.Error.Busy"; empty for errors that didn't come by D-Bus.
std::string nameOf(const Glib::Error& error);

}  // namespace dbus
