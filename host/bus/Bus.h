#pragma once

#include <giomm.h>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "dbus/Backoff.h"
#include "dbus/BusAddress.h"
#include "host/bus/BusObject.h"
#include "host/bus/CallGate.h"
#include "host/bus/MainLoop.h"
#include "host/bus/Notifier.h"
#include "host/bus/WorkQueue.h"
#include "host/loader/ServicePlugin.h"

namespace host {

/// The connection to the message bus, with the well-known name, the objects and the watches on
/// callers. Reconnects when the connection is lost.
///
/// Threads: the main thread, except for `watch`. What is passed must outlive the object.
class Bus {
 public:
  static constexpr const char* kName = "org.obexphone.Phone";

  /// Called on the main thread; each may be empty.
  struct Events {
    std::function<void(const std::string& caller)> callerLeft;
    std::function<void()> lost;  ///< the connection, and every caller with it
    std::function<void()> back;
  };

  /// `where` is "session", "system" or a D-Bus address. Calls to the service of these names go to
  /// the queue.
  Bus(MainLoop& loop, const std::string& where, const ServiceNames& names, WorkQueue& queue,
      Notifier& notifier, Events events);
  ~Bus();
  Bus(const Bus&) = delete;
  Bus& operator=(const Bus&) = delete;

  /// Adds an object to offer. Call before `open`.
  void add(BusObject& object) { m_objects.push_back(&object); }

  /// Connects and requests the name. Throws std::runtime_error with a message for the user.
  void open();
  /// Refuses calls to the service from now on.
  void stopDeliveries();
  /// Flushes and closes the connection.
  void close();

  /// Watches the process of this unique name: `callerLeft` follows when it leaves the bus, or at
  /// once if it already has. Any thread; repeating it has no effect.
  void watch(const Glib::RefPtr<Gio::DBus::Connection>& connection, const std::string& caller);

  [[nodiscard]] std::string describe() const { return m_where.describe(); }

 private:
  using Connection = Glib::RefPtr<Gio::DBus::Connection>;

  [[nodiscard]] Connection connect() const;
  void offerObjects();
  void takeName();
  [[nodiscard]] std::string ownerOfName() const;
  void startWatch(const Connection& connection, const std::string& caller);
  void endWatch(const std::string& caller);
  void drop();
  void lost();
  void reconnectLater();
  bool reconnect();

  MainLoop& m_loop;
  const dbus::BusAddress m_where;
  const ServiceNames m_names;
  WorkQueue& m_queue;
  Notifier& m_notifier;
  const Events m_events;
  std::vector<BusObject*> m_objects;

  Connection m_connection;
  std::shared_ptr<CallGate> m_gate;
  std::map<std::string, guint> m_watches;  ///< caller to GIO's id
  sigc::connection m_closed;
  sigc::connection m_timer;
  dbus::Backoff m_backoff{std::chrono::milliseconds(250), std::chrono::seconds(8)};
};

}  // namespace host
