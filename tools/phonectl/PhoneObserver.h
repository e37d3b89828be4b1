#pragma once

#include <giomm.h>

#include <string>

#include "tools/phonectl/Parameters.h"
#include "tools/phonectl/PhoneBus.h"
#include "tools/phonectl/PhoneEvents.h"

namespace phonectl {

/// The object on our own connection that the phone sends its events to, once this process has
/// subscribed. Only what the phone itself sends is listened to: on a bus anybody could call.
///
/// Threads: the one that runs the default main loop.
class PhoneObserver {
 public:
  /// Exports the object. `events` must outlive it. Throws Failure.
  PhoneObserver(PhoneBus& bus, PhoneEvents& events);
  ~PhoneObserver();
  PhoneObserver(const PhoneObserver&) = delete;
  PhoneObserver& operator=(const PhoneObserver&) = delete;

  /// From now on events count that come from this unique name; an empty one means nobody.
  void listenTo(const std::string& owner);

  /// The call that subscribes this process.
  static PhoneCall subscription();
  /// Throws Failure when the answer to it says that it was refused.
  static void checkSubscription(const Glib::VariantContainerBase& answer);

 private:
  void onCall(const Glib::ustring& sender, const Glib::ustring& member,
              const Glib::VariantContainerBase& body);
  void onSent(const std::string& contact);

  PhoneBus& m_bus;
  PhoneEvents& m_events;
  std::string m_owner;
  bool m_sentAnnounced = false;
  Gio::DBus::InterfaceVTable m_table;
  unsigned m_registration = 0;
};

}  // namespace phonectl
