#include "host/bus/Bus.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "host/bus/MessageFilter.h"
#include "host/loader/HostLog.h"

namespace host {
namespace {

constexpr const char* kDaemon = "org.freedesktop.DBus";
constexpr const char* kDaemonPath = "/org/freedesktop/DBus";

// What the bus knows by number: a flag of RequestName, and its answer.
constexpr guint32 kDoNotQueue = 4;
constexpr guint32 kPrimaryOwner = 1;

/// How long the bus itself may take to answer, in milliseconds.
constexpr int kDaemonTimeout = 10000;

constexpr unsigned kFirstPause = 250;  ///< before the first attempt to reconnect, in milliseconds
constexpr unsigned kLongestPause = 8000;  ///< between two attempts

GVariant* askDaemon(const Glib::RefPtr<Gio::DBus::Connection>& connection, const char* method,
                    GVariant* arguments) {
  GError* error = nullptr;
  GVariant* reply = g_dbus_connection_call_sync(connection->gobj(), kDaemon, kDaemonPath, kDaemon,
                                                method, arguments, nullptr, G_DBUS_CALL_FLAGS_NONE,
                                                kDaemonTimeout, nullptr, &error);
  if (reply != nullptr) return reply;
  const std::string reason = error->message;
  g_error_free(error);
  throw std::runtime_error(reason);
}

/// Asks the bus for one number.
guint32 askForNumber(const Glib::RefPtr<Gio::DBus::Connection>& connection, const char* method,
                     GVariant* arguments) {
  GVariant* reply = askDaemon(connection, method, arguments);
  guint32 number = 0;
  if (g_variant_is_of_type(reply, G_VARIANT_TYPE("(u)"))) g_variant_get(reply, "(u)", &number);
  g_variant_unref(reply);
  return number;
}

}  // namespace

Bus::Bus(MainLoop& loop, const std::string& where, const ServiceNames& names, WorkQueue& queue,
         Notifier& notifier, Events events)
    : m_loop(loop),
      m_where(where),
      m_names(names),
      m_queue(queue),
      m_notifier(notifier),
      m_events(std::move(events)) {}

Bus::~Bus() { close(); }

std::string Bus::describe() const {
  if (m_where == "session" || m_where == "system") return "the " + m_where + " bus";
  return m_where;
}

std::string Bus::address() const {
  if (m_where != "session" && m_where != "system") return m_where;
  const GBusType type = m_where == "session" ? G_BUS_TYPE_SESSION : G_BUS_TYPE_SYSTEM;
  GError* error = nullptr;
  // The C function: its wrapper loses the text.
  char* const found = g_dbus_address_get_for_bus_sync(type, nullptr, &error);
  if (found == nullptr) throw Gio::Error(error);
  std::string address = found;
  g_free(found);
  return address;
}

Bus::Connection Bus::connect() const {
  try {
    // A connection of our own: the shared one can't be made anew when it is lost.
    const auto connection = Gio::DBus::Connection::create_for_address_sync(
        address(), Gio::DBus::ConnectionFlags::AUTHENTICATION_CLIENT |
                       Gio::DBus::ConnectionFlags::MESSAGE_BUS_CONNECTION);
    connection->set_exit_on_close(false);
    return connection;
  } catch (const Glib::Error& error) {
    const char* hint = m_where == "session" ? " (dbus-run-session starts one)" : "";
    throw std::runtime_error("can't reach " + describe() + hint + ": " + error.what());
  }
}

void Bus::open() {
  m_connection = connect();
  m_closed = m_connection->signal_closed().connect([this](bool, const Glib::Error&) { lost(); });
  try {
    offerObjects();
    takeName();
  } catch (...) {
    drop();
    throw;
  }
}

void Bus::offerObjects() {
  m_gate = std::make_shared<CallGate>(m_names, m_queue, m_notifier);
  // GIO's thread may be in the filter while it is removed, so the filter shares the gate.
  addMessageFilter(m_connection->gobj(), [gate = m_gate](GDBusConnection* connection,
                                                         GDBusMessage* message, bool incoming) {
    if (!incoming) return message;
    const auto passed = gate->filter(Glib::wrap(connection, true), Glib::wrap(message));
    return passed ? passed->gobj_copy() : nullptr;
  });
  try {
    for (BusObject* object : m_objects) object->exportOn(m_connection);
  } catch (const Glib::Error& error) {
    throw std::runtime_error(std::string("can't offer the telephone's objects: ") + error.what());
  }
}

void Bus::takeName() {
  const guint32 answer =
      askForNumber(m_connection, "RequestName", g_variant_new("(su)", kName, kDoNotQueue));
  if (answer != kPrimaryOwner)
    throw std::runtime_error(std::string("the name ") + kName + " on " + describe() +
                             " is taken already" + ownerOfName() +
                             ": another phone-host runs there");
}

std::string Bus::ownerOfName() const {
  try {
    return ", by process " + std::to_string(askForNumber(m_connection, "GetConnectionUnixProcessID",
                                                         g_variant_new("(s)", kName)));
  } catch (const std::exception&) {
    return {};
  }
}

void Bus::stopDeliveries() {
  m_timer.disconnect();
  if (m_gate) m_gate->close();
}

void Bus::close() {
  stopDeliveries();
  m_closed.disconnect();
  try {
    if (m_connection && !m_connection->is_closed()) m_connection->flush_sync();
  } catch (const Glib::Error& error) {
    HOST_LOG_ERROR("not everything could be sent before the end: %s", error.what());
  }
  drop();
}

void Bus::drop() {
  m_closed.disconnect();
  if (m_gate) m_gate->close();
  m_gate.reset();
  while (!m_watches.empty()) endWatch(m_watches.begin()->first);
  if (!m_connection) return;
  try {
    if (!m_connection->is_closed()) m_connection->close_sync();
  } catch (const Glib::Error& error) {
    HOST_LOG_TRACE("closing the connection to the bus: %s", error.what());
  }
  m_connection.reset();
}

void Bus::watch(const Connection& connection, const std::string& caller) {
  m_loop.post([this, connection, caller] { startWatch(connection, caller); });
}

void Bus::startWatch(const Connection& connection, const std::string& caller) {
  // Whoever was on a bus that has been lost is gone, and was told of so.
  if (connection != m_connection || m_watches.count(caller) != 0) return;
  m_watches[caller] = Gio::DBus::watch_name(connection, caller, {},
                                            [this](const Connection&, const Glib::ustring& name) {
                                              endWatch(name);
                                              if (m_events.callerLeft) m_events.callerLeft(name);
                                            });
}

void Bus::endWatch(const std::string& caller) {
  const auto found = m_watches.find(caller);
  if (found == m_watches.end()) return;
  const guint id = found->second;
  m_watches.erase(found);
  Gio::DBus::unwatch_name(id);
}

void Bus::lost() {
  HOST_LOG_ERROR("the connection to %s was lost", describe().c_str());
  drop();
  if (m_events.lost) m_events.lost();
  m_attempts = 0;
  reconnectLater();
}

void Bus::reconnectLater() {
  const unsigned pause = std::min(kFirstPause << std::min(m_attempts, 8U), kLongestPause);
  ++m_attempts;
  m_timer = Glib::signal_timeout().connect([this] { return reconnect(); }, pause);
}

bool Bus::reconnect() {
  try {
    open();
    if (m_events.back) m_events.back();
  } catch (const std::exception& error) {
    HOST_LOG_ERROR("no bus yet: %s", error.what());
    reconnectLater();
  }
  return false;
}

}  // namespace host
