#include "tools/phonectl/PhoneBus.h"

#include <csignal>
#include <utility>

#include "cards/SafeText.h"

namespace phonectl {

namespace {

constexpr int kBusTimeoutMilliseconds = 25000;

bool is(const Glib::Error& error, GDBusError code) { return error.matches(G_DBUS_ERROR, code); }

// The error's message without the D-Bus error name.
std::string sentenceOf(const Glib::Error& error) {
  GError* const copy = g_error_copy(error.gobj());
  g_dbus_error_strip_remote_error(copy);
  std::string sentence = cards::safeText(copy->message);
  g_error_free(copy);
  return sentence;
}

}  // namespace

PhoneBus::PhoneBus(const BusPlace& place) : m_place(place) {
  const auto flags = Gio::DBus::ConnectionFlags::AUTHENTICATION_CLIENT |
                     Gio::DBus::ConnectionFlags::MESSAGE_BUS_CONNECTION;
  const std::string address = place.address();
  try {
    m_connection = Gio::DBus::Connection::create_for_address_sync(address, flags);
  } catch (const Glib::Error& error) {
    throw Failure(kNotRunning, "can't reach " + place.shown() + ": " + sentenceOf(error),
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
  const auto name = Glib::Variant<Glib::ustring>::create(kPhoneName);
  try {
    const Glib::VariantContainerBase answer =
        m_connection->call_sync("/org/freedesktop/DBus", "org.freedesktop.DBus", "GetNameOwner",
                                Glib::VariantContainerBase::create_tuple(name),
                                "org.freedesktop.DBus", kBusTimeoutMilliseconds);
    Glib::Variant<Glib::ustring> owner;
    answer.get_child(owner, 0);
    return owner.get();
  } catch (const Glib::Error& error) {
    throw failureOf(error);
  }
}

Failure PhoneBus::notRunning() const {
  return {kNotRunning, "the phone isn't running on " + m_place.shown(),
          "start it with: phone-host" + m_place.option()};
}

Failure PhoneBus::busLost() const {
  return {kLost, "lost the connection to " + m_place.shown(), "try again when the bus is back"};
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
        kFailed, m_place.shown() + " denies access to the phone: " + sentenceOf(error),
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
