#pragma once

#include <giomm.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "dbus/Values.h"
#include "host/bluetooth/BluezObjects.h"

namespace host {
namespace bluez {

// The names of BlueZ's interface on the system bus.
inline constexpr const char* kService = "org.bluez";
inline constexpr const char* kRoot = "/org/bluez";
inline constexpr const char* kAdapter = "org.bluez.Adapter1";
inline constexpr const char* kDevice = "org.bluez.Device1";
inline constexpr const char* kProfileManager = "org.bluez.ProfileManager1";
inline constexpr const char* kProfile = "org.bluez.Profile1";
inline constexpr const char* kObjectManager = "org.freedesktop.DBus.ObjectManager";
inline constexpr const char* kProperties = "org.freedesktop.DBus.Properties";

/// The error of a bus that doesn't let a call through.
inline constexpr const char* kAccessDenied = "org.freedesktop.DBus.Error.AccessDenied";

/// OBEX Object Push, as an adapter lists it.
inline constexpr const char* kObjectPush = "00001105-0000-1000-8000-00805f9b34fb";

/// How long it may take to answer, in milliseconds.
inline constexpr int kTimeout = 20000;

/// The name by which our service record is told from those of other programs.
inline constexpr const char* kRecordName = "obexphone";

}  // namespace bluez

/// The way to BlueZ over the system bus: keeps its objects up to date, follows it when it is
/// restarted, and the bus when that is. Nothing here waits for anyone. Where there is no system bus
/// it looks again from time to time.
///
/// Threads: the main thread. What was given as a callback may be called until `stop`.
class Bluez {
 public:
  using Connection = Glib::RefPtr<Gio::DBus::Connection>;

  struct Reply {
    VariantPtr body;    ///< null when it failed
    std::string error;  ///< name of the D-Bus error
    std::string text;   ///< a sentence, not safe to show
  };
  using OnReply = std::function<void(const Reply&)>;

  Bluez() = default;
  ~Bluez();
  Bluez(const Bluez&) = delete;
  Bluez& operator=(const Bluez&) = delete;

  /// Begins; `onChange` is called whenever anything here has changed.
  void start(std::function<void()> onChange);
  void stop();

  /// Whether BlueZ is there and its objects are known.
  [[nodiscard]] bool ready() const { return m_ready; }
  /// What is missing, a sentence without an end; empty when it is ready.
  [[nodiscard]] const std::string& missing() const { return m_missing; }
  /// Whether it isn't, because the bus's policy keeps this program from it.
  [[nodiscard]] bool denied() const { return m_denied; }
  [[nodiscard]] const BluezObjects& objects() const { return m_objects; }
  /// A number that changes when BlueZ was restarted, or the connection is another.
  [[nodiscard]] unsigned generation() const { return m_generation; }
  /// Null without a system bus.
  [[nodiscard]] const Connection& connection() const { return m_connection; }

  /// Calls one of BlueZ's methods. `arguments` is a tuple and may be floating. `onReply` is called
  /// once, later, unless this object was stopped or the connection lost meanwhile.
  void call(const std::string& path, const std::string& interface, const std::string& method,
            GVariant* arguments, OnReply onReply);
  /// Sets a property. `value` may be floating.
  void set(const std::string& path, const std::string& interface, const std::string& property,
           GVariant* value, OnReply onReply);

 private:
  void connect();
  void connected(const Glib::RefPtr<Gio::AsyncResult>& result);
  void connectLater(const std::string& reason);
  void subscribe();
  void listen(const char* interface, const char* member,
              void (Bluez::*handler)(const std::string& path, GVariant* arguments));
  void disconnect();
  void appeared(const std::string& owner);
  void vanished();
  void readObjects();
  void objectsRead(const Reply& reply);
  void changed();

  void onAdded(const std::string& path, GVariant* arguments);
  void onRemoved(const std::string& path, GVariant* arguments);
  void onChanged(const std::string& path, GVariant* arguments);

  std::function<void()> m_onChange;
  Connection m_connection;
  std::string m_owner;  ///< BlueZ's unique name, empty when it isn't there
  BluezObjects m_objects;
  bool m_ready = false;
  bool m_denied = false;
  std::string m_missing = "BlueZ has not been asked yet";
  unsigned m_generation = 0;
  unsigned m_attempts = 0;
  guint m_nameWatch = 0;
  std::vector<guint> m_subscriptions;
  sigc::connection m_closed;
  sigc::connection m_timer;
  /// Gone with this connection: what it answers later is not for us any more.
  std::shared_ptr<char> m_alive;
};

}  // namespace host
