#pragma once

#include <giomm.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "dbus/BusAddress.h"
#include "tools/phonectl/Output.h"

namespace phonectl {

/// The phone's name on its bus.
inline constexpr const char* kPhoneName = "org.obexphone.Phone";

struct BusObject {
  const char* path;
  const char* interface;
};

/// Receives and sends cards.
inline constexpr BusObject kService{"/org/obexphone/OBEXService", "org.obexphone.OBEXServiceIfc"};
/// The phonebook.
inline constexpr BusObject kDirectory{"/org/obexphone/DirectoryService",
                                      "org.obexphone.DirectoryServiceIfc"};
/// Status, journal and visibility.
inline constexpr BusObject kPhone{"/org/obexphone/Phone", "org.obexphone.Phone"};
/// Exported by subscribers on their own connection; the phone sends its events there.
inline constexpr BusObject kObserver{"/org/obexphone/OBEXServiceObserver",
                                     "org.obexphone.OBEXServiceObserverIfc"};

/// A member that disarms callbacks when its owner is destroyed: one made by `bind` does nothing
/// from then on.
///
/// Threads: the one that runs the main loop.
class Lifetime {
 public:
  Lifetime() = default;
  Lifetime(const Lifetime&) = delete;
  Lifetime& operator=(const Lifetime&) = delete;

  template <typename Callback>
  auto bind(Callback callback) const {
    return
        [alive = std::weak_ptr<char>(m_token), callback = std::move(callback)](auto&&... values) {
          if (!alive.expired()) callback(std::forward<decltype(values)>(values)...);
        };
  }

 private:
  std::shared_ptr<char> m_token = std::make_shared<char>();
};

/// A method call to the phone.
struct PhoneCall {
  BusObject object;
  std::string member;
  Glib::VariantContainerBase body;
  /// No timeout by default: a transfer may keep the phone busy for minutes.
  int timeoutMilliseconds = G_MAXINT;
};

/// The connection to the phone's bus.
///
/// Threads: the one that runs the default main loop, which also runs the callbacks.
class PhoneBus {
 public:
  /// Either the reply's body or why there is none.
  struct Answer {
    Glib::VariantContainerBase body;
    std::optional<Failure> failure;
  };
  using OnAnswer = std::function<void(const Answer&)>;

  /// Connects. Throws Failure.
  explicit PhoneBus(const dbus::BusAddress& place);
  /// Flushes what was sent.
  ~PhoneBus();
  PhoneBus(const PhoneBus&) = delete;
  PhoneBus& operator=(const PhoneBus&) = delete;

  /// Sends a call. `onAnswer` runs once, later, unless this object is destroyed first; it must not
  /// throw.
  void call(const PhoneCall& call, OnAnswer onAnswer);

  /// The phone's unique name. Throws Failure if the phone isn't running.
  [[nodiscard]] std::string phoneOwner() const;

  [[nodiscard]] const Glib::RefPtr<Gio::DBus::Connection>& connection() const {
    return m_connection;
  }
  [[nodiscard]] const dbus::BusAddress& place() const { return m_place; }

  [[nodiscard]] Failure notRunning() const;
  [[nodiscard]] Failure busLost() const;

 private:
  [[nodiscard]] Failure failureOf(const Glib::Error& error) const;

  const dbus::BusAddress m_place;
  Glib::RefPtr<Gio::DBus::Connection> m_connection;
  Lifetime m_lifetime;
};

}  // namespace phonectl
