#include "host/bus/Notifier.h"

#include <algorithm>

#include "host/bus/Arguments.h"
#include "host/loader/HostLog.h"

namespace host {
namespace {

/// Limits on unread bytes, for one observer and for all together. Above them, notifications are
/// dropped, except for an observer with at most `kAskAfterBytes` unread.
constexpr std::size_t kMaxUnreadOfOne = std::size_t{48} << 20;
constexpr std::size_t kMaxUnreadOfAll = std::size_t{96} << 20;

/// An observer is pinged after so many bytes or messages.
constexpr std::size_t kAskAfterBytes = std::size_t{1} << 20;
constexpr std::size_t kAskAfterMessages = 256;

/// Estimated cost of a message for the bus, besides its body, in bytes.
constexpr std::size_t kMessageOverhead = 512;

/// Recent notifications kept, to name one in the log if the bus rejects it.
constexpr std::size_t kRememberedNotifications = 256;

Glib::RefPtr<Gio::DBus::Message> makeNotification(const ServiceNames& names,
                                                  const std::string& observer,
                                                  const Method& method) {
  const auto message = Gio::DBus::Message::create_method_call(
      observer, names.observerPath, names.observerInterface, method.getName());
  g_dbus_message_set_body(message->gobj(), makeArguments(method, Parameter::IN));
  message->set_flags(Gio::DBus::MessageFlags::NO_REPLY_EXPECTED |
                     Gio::DBus::MessageFlags::NO_AUTO_START);
  return message;
}

}  // namespace

Notifier::Notifier(const ServiceNames& names) : m_names(names) {}

void Notifier::add(const std::string& observer) {
  const std::lock_guard lock(m_mutex);
  m_accounts.try_emplace(observer);
}

void Notifier::forget(const std::string& observer) {
  const std::lock_guard lock(m_mutex);
  const auto found = m_accounts.find(observer);
  if (found == m_accounts.end()) return;
  m_unread -= found->second.unread;
  m_accounts.erase(found);
}

void Notifier::forgetAll() {
  const std::lock_guard lock(m_mutex);
  m_accounts.clear();
  m_recent.clear();
  m_unread = 0;
}

bool Notifier::notify(const Connection& connection, const std::string& observer,
                      const Method& method) {
  if (g_dbus_is_member_name(method.getName().c_str()) == FALSE) {
    HOST_LOG_ERROR("dropped a notification: \"%s\" is not a valid member name",
                   method.getName().c_str());
    return false;
  }
  const auto message = makeNotification(m_names, observer, method);
  const std::size_t size = g_variant_get_size(g_dbus_message_get_body(message->gobj()));
  if (size > kMaxBody) {
    HOST_LOG_ERROR("dropped a %s of %zu bytes: the limit of the bus is %zu",
                   method.getName().c_str(), size, kMaxBody);
    return false;
  }
  const std::lock_guard lock(m_mutex);
  const auto found = m_accounts.find(observer);
  if (found == m_accounts.end()) return false;
  return pay(connection, *found, message, size + kMessageOverhead);
}

bool Notifier::pay(const Connection& connection, Accounts::value_type& entry,
                   const MessagePtr& message, std::size_t cost) {
  auto& [observer, account] = entry;
  if (!admits(account, cost)) {
    HOST_LOG_ERROR("dropped a %s to %s, which has %zu bytes unread", message->get_member().c_str(),
                   observer.c_str(), account.unread);
    return false;
  }
  std::uint32_t serial = 0;
  if (!send(connection, message, serial)) return false;
  m_recent.push_back({serial, message->get_member() + " to " + observer});
  if (m_recent.size() > kRememberedNotifications) m_recent.pop_front();
  account.unread += cost;
  account.newBytes += cost;
  ++account.newMessages;
  m_unread += cost;
  askWhenDue(connection, observer, account);
  return true;
}

bool Notifier::admits(const Account& account, std::size_t cost) const {
  if (account.unread <= kAskAfterBytes) return true;
  return account.unread + cost <= kMaxUnreadOfOne && m_unread + cost <= kMaxUnreadOfAll;
}

bool Notifier::send(const Connection& connection, const MessagePtr& message,
                    std::uint32_t& serial) {
  GError* error = nullptr;
  volatile guint32 given = 0;
  if (g_dbus_connection_send_message(connection->gobj(), message->gobj(),
                                     G_DBUS_SEND_MESSAGE_FLAGS_NONE, &given, &error) == FALSE) {
    HOST_LOG_ERROR("can't send a %s to %s: %s", message->get_member().c_str(),
                   message->get_destination().c_str(), error->message);
    g_error_free(error);
    return false;
  }
  serial = given;
  return true;
}

void Notifier::askWhenDue(const Connection& connection, const std::string& observer,
                          Account& account) {
  if (account.question != 0) return;
  if (account.newBytes < kAskAfterBytes && account.newMessages < kAskAfterMessages) return;
  const auto question = Gio::DBus::Message::create_method_call(observer, m_names.observerPath,
                                                               "org.freedesktop.DBus.Peer", "Ping");
  if (!send(connection, question, account.question)) return;
  account.askedBytes = account.newBytes;
  account.newBytes = 0;
  account.newMessages = 0;
}

bool Notifier::answered(const Connection& connection, const MessagePtr& answer) {
  const std::uint32_t serial = answer->get_reply_serial();
  if (serial == 0) return false;
  const std::lock_guard lock(m_mutex);
  const auto found =
      std::find_if(m_accounts.begin(), m_accounts.end(),
                   [serial](const auto& entry) { return entry.second.question == serial; });
  if (found == m_accounts.end()) return logRefusal(answer);
  // The observer has read everything before the ping. An error reply shows that just as well.
  auto& [observer, account] = *found;
  account.unread -= account.askedBytes;
  m_unread -= account.askedBytes;
  account.askedBytes = 0;
  account.question = 0;
  askWhenDue(connection, observer, account);
  return true;
}

bool Notifier::logRefusal(const MessagePtr& answer) {
  const std::uint32_t serial = answer->get_reply_serial();
  const auto found = std::find_if(m_recent.begin(), m_recent.end(),
                                  [serial](const Sent& sent) { return sent.serial == serial; });
  if (found == m_recent.end()) return false;
  GError* error = nullptr;
  if (g_dbus_message_to_gerror(answer->gobj(), &error) != FALSE) {
    HOST_LOG_ERROR("a %s was not delivered: %s", found->what.c_str(), error->message);
    g_error_free(error);
  }
  m_recent.erase(found);
  return true;
}

}  // namespace host
