#include "host/bus/Bus.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "host/loader/HostLog.h"

namespace host {
namespace {

constexpr const char* kDaemon = "org.freedesktop.DBus";
constexpr const char* kDaemonPath = "/org/freedesktop/DBus";

// From the D-Bus specification: a flag of RequestName, and its reply.
constexpr guint32 kDoNotQueue = 4;
constexpr guint32 kPrimaryOwner = 1;

/// Timeout for replies of the bus daemon, in milliseconds.
constexpr int kDaemonTimeout = 10000;

// Pauses before attempts to reconnect, in milliseconds.
constexpr unsigned kFirstPause = 250;
constexpr unsigned kLongestPause = 8000;

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
  // The C function, because its C++ wrapper loses the error message.
  char* const found = g_dbus_address_get_for_bus_sync(type, nullptr, &error);
  if (found == nullptr) throw Gio::Error(error);
  std::string address = found;
  g_free(found);
  return address;
}

Bus::Connection Bus::connect() const {
  try {
    // A private connection: GIO's shared one can't be replaced when it is lost.
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
  m_gate->attach(m_connection);
  try {
    for (BusObject* object : m_objects) object->exportOn(m_connection);
  } catch (const Glib::Error& error) {
    throw std::runtime_error(std::string("can't register the telephone's objects: ") +
                             error.what());
  }
}

void Bus::takeName() {
  const guint32 answer =
      askForNumber(m_connection, "RequestName", g_variant_new("(su)", kName, kDoNotQueue));
  if (answer != kPrimaryOwner)
    throw std::runtime_error("another phone-host owns the name " + std::string(kName) + " on " +
                             describe() + ownerOfName());
}

std::string Bus::ownerOfName() const {
  try {
    return ": process " + std::to_string(askForNumber(m_connection, "GetConnectionUnixProcessID",
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
    HOST_LOG_ERROR("can't flush the connection to the bus: %s", error.what());
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
    HOST_LOG_TRACE("can't close the connection to the bus: %s", error.what());
  }
  m_connection.reset();
}

void Bus::watch(const Connection& connection, const std::string& caller) {
  m_loop.post([this, connection, caller] { startWatch(connection, caller); });
}

void Bus::startWatch(const Connection& connection, const std::string& caller) {
  // Callers on a lost connection have been reported by `lost`.
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
  HOST_LOG_ERROR("lost the connection to %s", describe().c_str());
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
    HOST_LOG_ERROR("can't reconnect yet: %s", error.what());
    reconnectLater();
  }
  return false;
}

}  // namespace host
