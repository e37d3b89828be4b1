#include "dbus/Calls.h"

namespace dbus {
namespace {

constexpr const char* kDaemon = "org.freedesktop.DBus";
constexpr int kTimeoutMilliseconds = 10000;

}  // namespace

VariantPtr callDaemon(const Connection& connection, const char* method, GVariant* arguments) {
  GError* error = nullptr;
  VariantPtr reply(g_dbus_connection_call_sync(
      connection->gobj(), kDaemon, "/org/freedesktop/DBus", kDaemon, method, arguments, nullptr,
      G_DBUS_CALL_FLAGS_NONE, kTimeoutMilliseconds, nullptr, &error));
  if (!reply) throw Gio::Error(error);
  return reply;
}

pid_t processOwning(const Connection& connection, const std::string& name) {
  try {
    const VariantPtr reply =
        callDaemon(connection, "GetConnectionUnixProcessID", g_variant_new("(s)", name.c_str()));
    guint32 process = 0;
    if (isOfType(reply.get(), "(u)")) g_variant_get(reply.get(), "(u)", &process);
    return static_cast<pid_t>(process);
  } catch (const Glib::Error&) {
    return 0;
  }
}

std::string messageOf(const Glib::Error& error) {
  GError* const copy = g_error_copy(error.gobj());
  g_dbus_error_strip_remote_error(copy);
  std::string message = copy->message;
  g_error_free(copy);
  return message;
}

std::string nameOf(const Glib::Error& error) {
  char* const name = g_dbus_error_get_remote_error(error.gobj());
  std::string text = name == nullptr ? "" : name;
  g_free(name);
  return text;
}

}  // namespace dbus
