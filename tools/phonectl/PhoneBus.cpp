#include "tools/phonectl/PhoneBus.h"

#include <csignal>

#include "cards/SafeText.h"

namespace phonectl {

namespace {

constexpr int kBusTimeoutMilliseconds = 25000;

bool is(const Glib::Error& error, GDBusError code) { return error.matches(G_DBUS_ERROR, code); }

// The sentence that came over the bus, without the technical name in front of it.
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
  return {kLost, "the connection to " + m_place.shown() + " is gone", "ask again when it is back"};
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
    return {kFailed, m_place.shown() + " doesn't let you talk to the phone: " + sentenceOf(error),
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
