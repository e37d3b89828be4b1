#pragma once

#include <giomm.h>

#include <functional>
#include <optional>
#include <string>

#include "dbus/BusAddress.h"
#include "tools/phonectl/Failure.h"
#include "tools/phonectl/PhoneNames.h"

namespace phonectl {

/// One message to the phone.
struct PhoneCall {
  BusObject object;
  std::string member;
  Glib::VariantContainerBase body;
  /// Most calls wait for as long as it takes: the phone may be busy with a whole transfer.
  int timeoutMilliseconds = G_MAXINT;
};

/// The connection to the bus that the phone is on.
///
/// Threads: the one that runs the default main loop; answers come from there.
class PhoneBus {
 public:
  /// Either the answer's body or why there is none.
  struct Answer {
    Glib::VariantContainerBase body;
    std::optional<Failure> failure;
  };
  using OnAnswer = std::function<void(const Answer&)>;

  /// Connects. Throws Failure.
  explicit PhoneBus(const dbus::BusAddress& place);
  /// What was sent is on its way when it returns.
  ~PhoneBus();
  PhoneBus(const PhoneBus&) = delete;
  PhoneBus& operator=(const PhoneBus&) = delete;

  /// Sends a call. `onAnswer` is called once, later, and not any more when this object has gone. No
  /// exception may leave it.
  void call(const PhoneCall& call, OnAnswer onAnswer);

  /// The phone's unique name on the bus. Throws Failure when there is no phone.
  [[nodiscard]] std::string phoneOwner() const;

  [[nodiscard]] const Glib::RefPtr<Gio::DBus::Connection>& connection() const {
    return m_connection;
  }
  [[nodiscard]] const dbus::BusAddress& place() const { return m_place; }

  /// How a command ends when there is no phone, and when the bus has gone.
  [[nodiscard]] Failure notRunning() const;
  [[nodiscard]] Failure busLost() const;

 private:
  [[nodiscard]] Failure failureOf(const Glib::Error& error) const;
  void finish(const Glib::RefPtr<Gio::AsyncResult>& result, const OnAnswer& onAnswer) const;

  const dbus::BusAddress m_place;
  Glib::RefPtr<Gio::DBus::Connection> m_connection;
  const std::shared_ptr<char> m_alive = std::make_shared<char>();
};

}  // namespace phonectl
