#pragma once

#include <giomm.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "dbus/Backoff.h"
#include "dbus/Calls.h"
#include "host/bluetooth/BluezObjects.h"

namespace host {
namespace bluez {

inline constexpr const char* kService = "org.bluez";
inline constexpr const char* kRoot = "/org/bluez";
inline constexpr const char* kAdapter = "org.bluez.Adapter1";
inline constexpr const char* kDevice = "org.bluez.Device1";
inline constexpr const char* kProfileManager = "org.bluez.ProfileManager1";
inline constexpr const char* kProfile = "org.bluez.Profile1";

/// The D-Bus error of calls that the bus's policy denies.
inline constexpr const char* kAccessDenied = "org.freedesktop.DBus.Error.AccessDenied";
/// The UUID of OBEX Object Push, as in an adapter's UUIDs.
inline constexpr const char* kObjectPush = "00001105-0000-1000-8000-00805f9b34fb";
/// The name in our service record; those of other programs have other names.
inline constexpr const char* kRecordName = "obexphone";

}  // namespace bluez

/// A client of BlueZ on the system bus. Mirrors BlueZ's objects, and reconnects when BlueZ or the
/// bus is restarted. Never blocks.
///
/// Threads: the main thread. Callbacks run there, until `stop`.
class Bluez {
 public:
  struct Reply {
    dbus::VariantPtr body;  ///< null if the call failed
    std::string error;      ///< D-Bus error name
    std::string text;       ///< error message, not safe to show

    /// The error message, or the name where there is no message.
    [[nodiscard]] const std::string& reason() const { return text.empty() ? error : text; }
  };
  using OnReply = std::function<void(const Reply&)>;

  Bluez() = default;
  ~Bluez();
  Bluez(const Bluez&) = delete;
  Bluez& operator=(const Bluez&) = delete;

  /// Connects. `onChange` is called after every change of what the functions below return.
  void start(std::function<void()> onChange);
  void stop();

  /// Whether BlueZ runs and its objects are known.
  [[nodiscard]] bool ready() const { return m_ready; }
  /// Why it isn't ready, without a full stop; empty if it is.
  [[nodiscard]] const std::string& missing() const { return m_missing; }
  /// Whether it isn't ready because the bus's policy denies access to BlueZ.
  [[nodiscard]] bool denied() const { return m_denied; }
  [[nodiscard]] const BluezObjects& objects() const { return m_objects; }
  /// Changes whenever BlueZ starts, ends or is reached over a new connection.
  [[nodiscard]] unsigned generation() const { return m_generation; }
  /// Null without a system bus.
  [[nodiscard]] const dbus::Connection& connection() const { return m_connection; }

  /// Calls a method of BlueZ. `arguments` is a tuple, may be floating, and null for none. `onReply`
  /// is called once, later, but not after `stop` or once the connection is lost.
  void call(const std::string& path, const std::string& interface, const std::string& method,
            GVariant* arguments, OnReply onReply);
  /// Sets a property. `value` may be floating.
  void set(const std::string& path, const std::string& interface, const std::string& property,
           GVariant* value, OnReply onReply);

 private:
  using OnSignal = std::function<void(const std::string& path, GVariant* arguments)>;

  void connect();
  void connected(const Glib::RefPtr<Gio::AsyncResult>& result);
  void connectLater(const std::string& reason);
  void subscribe();
  void listen(const char* interface, const char* member, OnSignal onSignal);
  void disconnect();
  void appeared(const std::string& owner);
  void vanished();
  void forgetObjects();
  void objectsRead(const Reply& reply);
  void changed();

  std::function<void()> m_onChange;
  dbus::Connection m_connection;
  std::string m_owner;  ///< BlueZ's unique name; empty if it doesn't run
  BluezObjects m_objects;
  bool m_ready = false;
  bool m_denied = false;
  std::string m_missing = "BlueZ has not answered yet";
  unsigned m_generation = 0;
  dbus::Backoff m_backoff{std::chrono::seconds(1), std::chrono::minutes(1)};
  guint m_nameWatch = 0;
  std::vector<guint> m_subscriptions;
  sigc::connection m_closed;
  sigc::connection m_timer;
  /// Lives as long as the connection: replies that arrive after it are dropped.
  std::shared_ptr<char> m_alive;
};

}  // namespace host
