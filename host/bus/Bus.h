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
#include "host/bus/CallerWatch.h"
#include "host/bus/MainLoop.h"
#include "host/bus/Notifier.h"
#include "host/bus/WorkQueue.h"
#include "host/loader/ServiceNames.h"

namespace host {

/// The telephone's place on the message bus: the connection, the well-known name, the objects, and
/// the watch over callers. A connection that is lost is made anew, until `close`.
///
/// Threads: the main thread, except for `watch`. What is given must outlive the object.
class Bus : public CallerWatch {
 public:
  static constexpr const char* kName = "org.obexphone.Phone";

  /// What happens on the bus. All are called on the main thread; each may be left empty.
  struct Events {
    std::function<void(const std::string& caller)> callerLeft;
    std::function<void()> lost;  ///< and with it every caller
    std::function<void()> back;
  };

  /// `where` is "session", "system" or a D-Bus address. `service` is the service's object: its
  /// interface's calls go to the queue, everything else that concerns it is answered here.
  Bus(MainLoop& loop, const std::string& where, const ServiceNames& names, WorkQueue& queue,
      Notifier& notifier, Events events);
  ~Bus() override;
  Bus(const Bus&) = delete;
  Bus& operator=(const Bus&) = delete;

  /// An object to offer, before `open`.
  void add(BusObject& object) { m_objects.push_back(&object); }

  /// Connects and takes the name. Throws std::runtime_error with a sentence for the user.
  void open();
  /// Refuses calls to the service from now on; everything else goes on.
  void stopDeliveries();
  /// Sends what waits and closes the connection.
  void close();

  void watch(const Glib::RefPtr<Gio::DBus::Connection>& connection,
             const std::string& caller) override;

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
  std::map<std::string, guint> m_watches;  ///< by caller
  sigc::connection m_closed;
  sigc::connection m_timer;
  dbus::Backoff m_backoff{std::chrono::milliseconds(250), std::chrono::seconds(8)};
};

}  // namespace host
