#include "host/bus/CallGate.h"

#include <exception>
#include <map>
#include <memory>
#include <string_view>

#include "host/loader/HostLog.h"

namespace host {
namespace {

using Connection = Glib::RefPtr<Gio::DBus::Connection>;
using Message = Glib::RefPtr<Gio::DBus::Message>;

std::string_view orEmpty(const char* text) {
  return text != nullptr ? std::string_view(text) : std::string_view();
}

/// The interfaces that every object has. A caller may leave out the interface where the member's
/// name is unique, which GIO doesn't look after.
const char* standardInterfaceOf(std::string_view member) {
  static const std::map<std::string_view, const char*> interfaces = {
      {"Introspect", "org.freedesktop.DBus.Introspectable"},
      {"Get", "org.freedesktop.DBus.Properties"},
      {"GetAll", "org.freedesktop.DBus.Properties"},
      {"Set", "org.freedesktop.DBus.Properties"},
      {"GetMachineId", "org.freedesktop.DBus.Peer"},
      {"Ping", "org.freedesktop.DBus.Peer"}};
  const auto found = interfaces.find(member);
  return found != interfaces.end() ? found->second : nullptr;
}

}  // namespace

CallGate::CallGate(const ServiceNames& names, WorkQueue& queue, Notifier& notifier)
    : m_names(names), m_queue(&queue), m_notifier(&notifier) {}

Message CallGate::filter(const Connection& connection, const Message& message) {
  try {
    return route(connection, message);
  } catch (const std::exception& error) {
    HOST_LOG_ERROR("a message from the bus was dropped: %s", error.what());
    return {};
  }
}

Message CallGate::route(const Connection& connection, const Message& message) {
  GDBusMessage* raw = message->gobj();
  const GDBusMessageType type = g_dbus_message_get_message_type(raw);
  if (type == G_DBUS_MESSAGE_TYPE_METHOD_RETURN || type == G_DBUS_MESSAGE_TYPE_ERROR)
    return tellNotifier(connection, message) ? Message() : message;
  if (type != G_DBUS_MESSAGE_TYPE_METHOD_CALL) return message;
  if (orEmpty(g_dbus_message_get_path(raw)) != m_names.path) return message;
  if (!isForService(message)) return withInterface(message);
  takeIn(connection, message);
  return {};
}

void CallGate::takeIn(const Connection& connection, const Message& message) {
  auto call = std::make_unique<ServiceCall>(connection, message);
  const std::lock_guard lock(m_mutex);
  // A call that is given up here, because the telephone stops, says so itself.
  if (m_queue != nullptr && !m_queue->offer(call))
    call->refuse("org.freedesktop.DBus.Error.LimitsExceeded",
                 "too many messages wait for the telephone already; try again later");
}

bool CallGate::tellNotifier(const Connection& connection, const Message& message) {
  const std::lock_guard lock(m_mutex);
  return m_notifier != nullptr && m_notifier->answered(connection, message);
}

bool CallGate::isForService(const Message& message) const {
  const std::string_view interface = orEmpty(g_dbus_message_get_interface(message->gobj()));
  const std::string_view member = orEmpty(g_dbus_message_get_member(message->gobj()));
  if (interface.empty()) return standardInterfaceOf(member) == nullptr;
  return interface == m_names.interface;
}

Message CallGate::withInterface(const Message& message) const {
  if (g_dbus_message_get_interface(message->gobj()) != nullptr) return message;
  GDBusMessage* copy = g_dbus_message_copy(message->gobj(), nullptr);
  if (copy == nullptr) return message;
  const std::string_view member = orEmpty(g_dbus_message_get_member(copy));
  g_dbus_message_set_interface(copy, standardInterfaceOf(member));
  return Glib::wrap(copy);
}

void CallGate::close() {
  const std::lock_guard lock(m_mutex);
  m_queue = nullptr;
  m_notifier = nullptr;
}

}  // namespace host
