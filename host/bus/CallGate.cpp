#include "host/bus/CallGate.h"

#include <atomic>
#include <exception>
#include <functional>
#include <map>
#include <string_view>
#include <utility>

#include "host/loader/HostLog.h"

namespace host {
namespace {

/// Takes the message and returns it or another one for GIO to handle; null to drop it.
using Filter = std::function<GDBusMessage*(GDBusConnection*, GDBusMessage*, bool incoming)>;

/// GIO passes this between threads under a lock that the thread sanitizer doesn't see; `ready`
/// shows it the hand-over.
struct AddedFilter {
  Filter filter;
  std::atomic<bool> ready{false};
};

AddedFilter& takeOver(gpointer data) {
  auto& added = *static_cast<AddedFilter*>(data);
  static_cast<void>(added.ready.load(std::memory_order_acquire));
  return added;
}

GDBusMessage* callFilter(GDBusConnection* connection, GDBusMessage* message, gboolean incoming,
                         gpointer data) {
  return takeOver(data).filter(connection, message, incoming != FALSE);
}

void freeFilter(gpointer data) { delete &takeOver(data); }

std::string_view orEmpty(const char* text) {
  return text != nullptr ? std::string_view(text) : std::string_view();
}

/// The standard interface that has this member, null if none has.
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

/// D-Bus allows calls without an interface, but GIO refuses them: fills in the standard interface.
Glib::RefPtr<Gio::DBus::Message> withInterface(const Glib::RefPtr<Gio::DBus::Message>& message) {
  if (g_dbus_message_get_interface(message->gobj()) != nullptr) return message;
  GDBusMessage* copy = g_dbus_message_copy(message->gobj(), nullptr);
  if (copy == nullptr) return message;
  const std::string_view member = orEmpty(g_dbus_message_get_member(copy));
  g_dbus_message_set_interface(copy, standardInterfaceOf(member));
  return Glib::wrap(copy);
}

}  // namespace

CallGate::CallGate(const ServiceNames& names, WorkQueue& queue, Notifier& notifier)
    : m_names(names), m_queue(&queue), m_notifier(&notifier) {}

void CallGate::attach(const Connection& connection) {
  // GIO's thread may still be in the filter when it is removed, so the filter shares ownership.
  auto* const added =
      new AddedFilter{[gate = shared_from_this()](GDBusConnection* of, GDBusMessage* message,
                                                  bool incoming) -> GDBusMessage* {
        if (!incoming) return message;
        const auto passed = gate->filter(Glib::wrap(of, true), Glib::wrap(message));
        return passed ? passed->gobj_copy() : nullptr;
      }};
  added->ready.store(true, std::memory_order_release);
  g_dbus_connection_add_filter(connection->gobj(), callFilter, added, freeFilter);
}

CallGate::Message CallGate::filter(const Connection& connection, const Message& message) {
  try {
    return route(connection, message);
  } catch (const std::exception& error) {
    HOST_LOG_ERROR("dropped a message from the bus: %s", error.what());
    return {};
  }
}

CallGate::Message CallGate::route(const Connection& connection, const Message& message) {
  GDBusMessage* raw = message->gobj();
  const GDBusMessageType type = g_dbus_message_get_message_type(raw);
  if (type == G_DBUS_MESSAGE_TYPE_METHOD_RETURN || type == G_DBUS_MESSAGE_TYPE_ERROR)
    return passToNotifier(connection, message) ? Message() : message;
  if (type != G_DBUS_MESSAGE_TYPE_METHOD_CALL) return message;
  if (orEmpty(g_dbus_message_get_path(raw)) != m_names.path) return message;
  if (!isForService(message)) return withInterface(message);
  enqueue(connection, message);
  return {};
}

void CallGate::enqueue(const Connection& connection, const Message& message) {
  auto call = std::make_unique<ServiceCall>(connection, message);
  const std::lock_guard lock(m_mutex);
  // When closed, the call's destructor tells the caller that the telephone is stopping.
  if (m_queue != nullptr && !m_queue->offer(call))
    call->refuse("org.freedesktop.DBus.Error.LimitsExceeded",
                 "the telephone's queue is full; try again later");
}

bool CallGate::passToNotifier(const Connection& connection, const Message& message) {
  const std::lock_guard lock(m_mutex);
  return m_notifier != nullptr && m_notifier->answered(connection, message);
}

bool CallGate::isForService(const Message& message) const {
  const std::string_view interface = orEmpty(g_dbus_message_get_interface(message->gobj()));
  const std::string_view member = orEmpty(g_dbus_message_get_member(message->gobj()));
  if (interface.empty()) return standardInterfaceOf(member) == nullptr;
  return interface == m_names.interface;
}

void CallGate::close() {
  const std::lock_guard lock(m_mutex);
  m_queue = nullptr;
  m_notifier = nullptr;
}

}  // namespace host
