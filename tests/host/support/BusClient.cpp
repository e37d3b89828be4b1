#include "tests/host/support/BusClient.h"

#include <atomic>
#include <stdexcept>

#include "tests/support/WaitFor.h"

namespace test {

/// Filled by GIO's thread.
struct BusClientState {
  mutable std::mutex mutex;
  std::map<std::uint32_t, BusClient::Answer> answers;
  std::vector<BusClient::Notification> notifications;
};

namespace {

/// GIO passes this between threads under a lock that the thread sanitizer doesn't see; `ready`
/// shows it the hand-over.
struct SharedState {
  std::shared_ptr<BusClientState> state;
  std::atomic<bool> ready{false};
};

constexpr const char* kPhone = "org.obexphone.Phone";

std::string orEmpty(const char* text) { return text != nullptr ? text : ""; }

std::string print(GVariant* body) {
  if (body == nullptr || g_variant_n_children(body) == 0) return {};
  char* text = g_variant_print(body, TRUE);
  std::string copy = text;
  g_free(text);
  return copy;
}

void keepAnswer(BusClientState& state, GDBusMessage* message) {
  BusClient::Answer answer;
  answer.came = true;
  answer.values = print(g_dbus_message_get_body(message));
  answer.error = orEmpty(g_dbus_message_get_error_name(message));
  if (!answer.error.empty()) answer.message = orEmpty(g_dbus_message_get_arg0(message));
  const std::lock_guard lock(state.mutex);
  state.answers[g_dbus_message_get_reply_serial(message)] = answer;
}

void keepNotification(BusClientState& state, GDBusMessage* message) {
  const auto flags = g_dbus_message_get_flags(message);
  BusClient::Notification notification{
      orEmpty(g_dbus_message_get_path(message)), orEmpty(g_dbus_message_get_interface(message)),
      orEmpty(g_dbus_message_get_member(message)), print(g_dbus_message_get_body(message)),
      (flags & G_DBUS_MESSAGE_FLAGS_NO_REPLY_EXPECTED) == 0};
  const std::lock_guard lock(state.mutex);
  state.notifications.push_back(std::move(notification));
}

SharedState& takeOver(gpointer data) {
  auto& shared = *static_cast<SharedState*>(data);
  static_cast<void>(shared.ready.load(std::memory_order_acquire));
  return shared;
}

/// Runs on GIO's thread. GIO answers pings.
GDBusMessage* filter(GDBusConnection*, GDBusMessage* message, gboolean incoming, gpointer data) {
  if (incoming == FALSE) return message;
  BusClientState& state = *takeOver(data).state;
  const GDBusMessageType type = g_dbus_message_get_message_type(message);
  if (type == G_DBUS_MESSAGE_TYPE_METHOD_RETURN || type == G_DBUS_MESSAGE_TYPE_ERROR) {
    keepAnswer(state, message);
    return message;
  }
  if (type != G_DBUS_MESSAGE_TYPE_METHOD_CALL ||
      orEmpty(g_dbus_message_get_interface(message)) == "org.freedesktop.DBus.Peer")
    return message;
  keepNotification(state, message);
  g_object_unref(message);
  return nullptr;
}

void freeState(gpointer data) { delete &takeOver(data); }

GDBusConnection* connectTo(const std::string& address) {
  GError* error = nullptr;
  GDBusConnection* connection = g_dbus_connection_new_for_address_sync(
      address.c_str(),
      static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                        G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
      nullptr, nullptr, &error);
  if (connection != nullptr) return connection;
  const std::string reason = error->message;
  g_error_free(error);
  throw std::runtime_error(reason);
}

}  // namespace

GVariant* parseValue(const std::string& text) {
  GError* error = nullptr;
  GVariant* value = g_variant_parse(nullptr, text.c_str(), nullptr, nullptr, &error);
  if (value != nullptr) return value;
  const std::string reason = error->message;
  g_error_free(error);
  throw std::runtime_error(text + ": " + reason);
}

BusClient::BusClient(const std::string& address, const std::string& service)
    : m_path("/org/obexphone/" + service),
      m_interface("org.obexphone." + service + "Ifc"),
      m_connection(connectTo(address)),
      m_state(std::make_shared<BusClientState>()) {
  auto* const shared = new SharedState{m_state};
  shared->ready.store(true, std::memory_order_release);
  g_dbus_connection_add_filter(m_connection, filter, shared, freeState);
}

BusClient::~BusClient() {
  leave();
  g_object_unref(m_connection);
}

void BusClient::leave() {
  if (g_dbus_connection_is_closed(m_connection) == FALSE)
    g_dbus_connection_close_sync(m_connection, nullptr, nullptr);
}

std::string BusClient::name() const { return g_dbus_connection_get_unique_name(m_connection); }

std::uint32_t BusClient::post(const std::string& destination, const std::string& object,
                              const std::string& interface, const std::string& member,
                              GVariant* arguments, bool wantsAnswer) {
  GDBusMessage* message = g_dbus_message_new_method_call(
      destination.c_str(), object.c_str(), interface.empty() ? nullptr : interface.c_str(),
      member.c_str());
  if (arguments != nullptr) g_dbus_message_set_body(message, arguments);
  if (!wantsAnswer) g_dbus_message_set_flags(message, G_DBUS_MESSAGE_FLAGS_NO_REPLY_EXPECTED);
  volatile guint32 serial = 0;
  g_dbus_connection_send_message(m_connection, message, G_DBUS_SEND_MESSAGE_FLAGS_NONE, &serial,
                                 nullptr);
  g_object_unref(message);
  return serial;
}

BusClient::Answer BusClient::wait(std::uint32_t serial) {
  waitFor([&] { return answered(serial); });
  const std::lock_guard lock(m_state->mutex);
  return m_state->answers[serial];
}

bool BusClient::answered(std::uint32_t serial) const {
  const std::lock_guard lock(m_state->mutex);
  return m_state->answers.count(serial) != 0;
}

BusClient::Answer BusClient::callObject(const std::string& object, const std::string& interface,
                                        const std::string& member, GVariant* arguments) {
  return wait(post(kPhone, object, interface, member, arguments, true));
}

BusClient::Answer BusClient::callObject(const std::string& object, const std::string& interface,
                                        const std::string& member, const std::string& arguments) {
  return callObject(object, interface, member, arguments.empty() ? nullptr : parseValue(arguments));
}

BusClient::Answer BusClient::callBus(const std::string& member, const std::string& arguments) {
  return wait(post("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", member,
                   parseValue(arguments), true));
}

BusClient::Answer BusClient::call(const std::string& member, const std::string& arguments) {
  return callObject(m_path, m_interface, member, arguments);
}

BusClient::Answer BusClient::call(const std::string& member, GVariant* arguments) {
  return callObject(m_path, m_interface, member, arguments);
}

std::uint32_t BusClient::send(const std::string& member, const std::string& arguments) {
  return post(kPhone, m_path, m_interface, member, parseValue(arguments), true);
}

std::uint32_t BusClient::tell(const std::string& member, const std::string& arguments) {
  return post(kPhone, m_path, m_interface, member, parseValue(arguments), false);
}

std::string BusClient::status(const std::string& name) {
  const Answer answer = callObject("/org/obexphone/Phone", "org.obexphone.Phone", "Status", "");
  if (answer.values.empty()) return {};
  GVariant* body = parseValue(answer.values);
  GVariant* dictionary = g_variant_get_child_value(body, 0);
  GVariant* value = g_variant_lookup_value(dictionary, name.c_str(), nullptr);
  std::string text;
  if (value != nullptr) {
    char* printed = g_variant_print(value, TRUE);
    text = printed;
    g_free(printed);
    g_variant_unref(value);
  }
  g_variant_unref(dictionary);
  g_variant_unref(body);
  return text;
}

std::vector<BusClient::Notification> BusClient::heard() const {
  const std::lock_guard lock(m_state->mutex);
  return m_state->notifications;
}

bool BusClient::waitUntilHeard(std::size_t count) const {
  return waitFor([&] {
    const std::lock_guard lock(m_state->mutex);
    return m_state->notifications.size() >= count;
  });
}

}  // namespace test
