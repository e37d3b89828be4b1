#include "tools/phonectl/PhoneBus.h"

#include <csignal>
#include <utility>

#include "cards/SafeText.h"
#include "dbus/Calls.h"

namespace phonectl {

namespace {

bool is(const Glib::Error& error, GDBusError code) { return error.matches(G_DBUS_ERROR, code); }

std::string sentenceOf(const Glib::Error& error) { return cards::safeText(dbus::messageOf(error)); }

}  // namespace

PhoneBus::PhoneBus(const dbus::BusAddress& place) : m_place(place) {
  const auto flags = Gio::DBus::ConnectionFlags::AUTHENTICATION_CLIENT |
                     Gio::DBus::ConnectionFlags::MESSAGE_BUS_CONNECTION;
  try {
    m_connection = Gio::DBus::Connection::create_for_address_sync(place.resolve(), flags);
  } catch (const Glib::Error& error) {
    throw Failure(kNotRunning, "can't reach " + place.describe() + ": " + sentenceOf(error),
                  "name the phone's bus with --bus or PHONE_BUS");
  }
  // GIO ignores SIGPIPE; a closed pipe should end this program as it ends others.
  std::signal(SIGPIPE, SIG_DFL);
}

PhoneBus::~PhoneBus() {
  try {
    m_connection->flush_sync();
    m_connection->close_sync();
  } catch (const Glib::Error&) {
    // Already closed; pending calls have failed.
  }
}

void PhoneBus::call(const PhoneCall& call, OnAnswer onAnswer) {
  const auto finish =
      [this, onAnswer = std::move(onAnswer)](const Glib::RefPtr<Gio::AsyncResult>& result) {
        Answer answer;
        try {
          answer.body = m_connection->call_finish(result);
        } catch (const Glib::Error& error) {
          answer.failure = failureOf(error);
        }
        onAnswer(answer);
      };
  m_connection->call(call.object.path, call.object.interface, call.member, call.body,
                     m_lifetime.bind(finish), kPhoneName, call.timeoutMilliseconds);
}

std::string PhoneBus::phoneOwner() const {
  try {
    const dbus::VariantPtr answer =
        dbus::callDaemon(m_connection, "GetNameOwner", g_variant_new("(s)", kPhoneName));
    const char* owner = "";
    if (dbus::isOfType(answer.get(), "(s)")) g_variant_get(answer.get(), "(&s)", &owner);
    return owner;
  } catch (const Glib::Error& error) {
    throw failureOf(error);
  }
}

Failure PhoneBus::notRunning() const {
  return {kNotRunning, "the phone isn't running on " + m_place.describe(),
          "start it with: phone-host" + m_place.option()};
}

Failure PhoneBus::busLost() const {
  return {kLost, "lost the connection to " + m_place.describe(), "try again when the bus is back"};
}

Failure PhoneBus::failureOf(const Glib::Error& error) const {
  if (is(error, G_DBUS_ERROR_SERVICE_UNKNOWN) || is(error, G_DBUS_ERROR_NAME_HAS_NO_OWNER)) {
    return notRunning();
  }
  if (error.matches(G_IO_ERROR, G_IO_ERROR_CLOSED) || is(error, G_DBUS_ERROR_DISCONNECTED) ||
      m_connection->is_closed()) {
    return busLost();
  }
  if (is(error, G_DBUS_ERROR_NO_REPLY)) {
    return {kLost, "the phone went away before it answered", "its log may tell why"};
  }
  if (error.matches(G_IO_ERROR, G_IO_ERROR_TIMED_OUT) || is(error, G_DBUS_ERROR_TIMEOUT)) {
    return {kFailed, "the phone doesn't respond", "if it hangs, restart phone-host"};
  }
  if (is(error, G_DBUS_ERROR_ACCESS_DENIED)) {
    return {
        kFailed, m_place.describe() + " denies access to the phone: " + sentenceOf(error),
        "its policy must admit you; for the system phone: sudo adduser NAME obexphone, and log in "
        "again"};
  }
  if (is(error, G_DBUS_ERROR_UNKNOWN_METHOD) || is(error, G_DBUS_ERROR_UNKNOWN_OBJECT) ||
      is(error, G_DBUS_ERROR_UNKNOWN_INTERFACE)) {
    return {kFailed, "the phone doesn't know this request (" + sentenceOf(error) + ")",
            "use phonectl and phone-host of the same version"};
  }
  return {kFailed, "the phone refused: " + sentenceOf(error)};
}

}  // namespace phonectl
