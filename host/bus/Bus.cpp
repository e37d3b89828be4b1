#include "host/bus/Bus.h"

#include <stdexcept>
#include <utility>

#include "dbus/Calls.h"
#include "host/loader/HostLog.h"

namespace host {
namespace {

// What the bus knows by number: a flag of RequestName, and its answer.
constexpr guint32 kDoNotQueue = 4;
constexpr guint32 kPrimaryOwner = 1;

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

Bus::Connection Bus::connect() const {
  try {
    // A private connection: GIO's shared one can't be replaced when it is lost.
    const auto connection = Gio::DBus::Connection::create_for_address_sync(
        m_where.resolve(), Gio::DBus::ConnectionFlags::AUTHENTICATION_CLIENT |
                               Gio::DBus::ConnectionFlags::MESSAGE_BUS_CONNECTION);
    connection->set_exit_on_close(false);
    return connection;
  } catch (const Glib::Error& error) {
    const char* hint = m_where.isSession() ? " (dbus-run-session starts one)" : "";
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
  guint32 answer = 0;
  try {
    const dbus::VariantPtr reply =
        dbus::callDaemon(m_connection, "RequestName", g_variant_new("(su)", kName, kDoNotQueue));
    if (dbus::isOfType(reply.get(), "(u)")) g_variant_get(reply.get(), "(u)", &answer);
  } catch (const Glib::Error& error) {
    throw std::runtime_error(error.what());
  }
  if (answer != kPrimaryOwner)
    throw std::runtime_error("another phone-host owns the name " + std::string(kName) + " on " +
                             describe() + ownerOfName());
}

std::string Bus::ownerOfName() const {
  const pid_t process = dbus::processOwning(m_connection, kName);
  return process == 0 ? "" : ": process " + std::to_string(process);
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
  m_backoff.reset();
  reconnectLater();
}

void Bus::reconnectLater() {
  m_timer = Glib::signal_timeout().connect([this] { return reconnect(); }, m_backoff.next());
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
