#include "tools/phonectl/PhoneBus.h"

#include <csignal>

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
  // GIO has it ignored now. A reader that leaves ends this program as it does any other.
  std::signal(SIGPIPE, SIG_DFL);
}

PhoneBus::~PhoneBus() {
  try {
    m_connection->flush_sync();
    m_connection->close_sync();
  } catch (const Glib::Error&) {
    // It is closed already: whoever waited for an answer has been told.
  }
}

void PhoneBus::call(const PhoneCall& call, OnAnswer onAnswer) {
  const auto finished = [this, alive = std::weak_ptr<char>(m_alive),
                         onAnswer](const Glib::RefPtr<Gio::AsyncResult>& result) {
    if (!alive.expired()) finish(result, onAnswer);
  };
  m_connection->call(call.object.path, call.object.interface, call.member, call.body, finished,
                     kPhoneName, call.timeoutMilliseconds);
}

void PhoneBus::finish(const Glib::RefPtr<Gio::AsyncResult>& result,
                      const OnAnswer& onAnswer) const {
  Answer answer;
  try {
    answer.body = m_connection->call_finish(result);
  } catch (const Glib::Error& error) {
    answer.failure = failureOf(error);
  }
  onAnswer(answer);
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
  return {kLost, "the connection to " + m_place.describe() + " is gone",
          "ask again when it is back"};
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
    return {kLost, "the phone went away before it answered", "see its log for the reason"};
  }
  if (error.matches(G_IO_ERROR, G_IO_ERROR_TIMED_OUT) || is(error, G_DBUS_ERROR_TIMEOUT)) {
    return {kFailed, "the phone doesn't answer", "if it is stopped or hangs, restart phone-host"};
  }
  if (is(error, G_DBUS_ERROR_ACCESS_DENIED)) {
    return {kFailed,
            m_place.describe() + " doesn't let you talk to the phone: " + sentenceOf(error),
            "the bus's policy has to allow it; that of the system's phone allows root and the "
            "group obexphone: sudo adduser NAME obexphone, and log in anew"};
  }
  if (is(error, G_DBUS_ERROR_UNKNOWN_METHOD) || is(error, G_DBUS_ERROR_UNKNOWN_OBJECT) ||
      is(error, G_DBUS_ERROR_UNKNOWN_INTERFACE)) {
    return {kFailed, "this phone doesn't know that request (" + sentenceOf(error) + ")",
            "use phonectl and phone-host of the same version"};
  }
  return {kFailed, "the phone refused: " + sentenceOf(error)};
}

}  // namespace phonectl
