#include "host/bluetooth/Bluez.h"

#include <algorithm>
#include <utility>

namespace host {
namespace {

constexpr unsigned kFirstPause = 1;  ///< before looking for the system bus again, in seconds
constexpr unsigned kLongestPause = 60;

Bluez::Reply failed(const Glib::Error& error) {
  Bluez::Reply reply;
  char* const name = g_dbus_error_get_remote_error(error.gobj());
  if (name != nullptr) reply.error = name;
  g_free(name);
  GError* const copy = g_error_copy(error.gobj());
  g_dbus_error_strip_remote_error(copy);
  reply.text = copy->message;
  g_error_free(copy);
  return reply;
}

}  // namespace

Bluez::~Bluez() { stop(); }

void Bluez::start(std::function<void()> onChange) {
  m_onChange = std::move(onChange);
  connect();
}

void Bluez::stop() {
  m_onChange = nullptr;
  m_timer.disconnect();
  disconnect();
}

void Bluez::connect() {
  GError* error = nullptr;
  // The C function: its wrapper loses the text.
  char* const address = g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SYSTEM, nullptr, &error);
  if (address == nullptr) {
    const std::string reason = error->message;
    g_error_free(error);
    connectLater(reason);
    return;
  }
  m_alive = std::make_shared<char>();
  Gio::DBus::Connection::create_for_address(
      address,
      [this, alive = std::weak_ptr<char>(m_alive)](const Glib::RefPtr<Gio::AsyncResult>& result) {
        if (!alive.expired()) connected(result);
      },
      Gio::DBus::ConnectionFlags::AUTHENTICATION_CLIENT |
          Gio::DBus::ConnectionFlags::MESSAGE_BUS_CONNECTION);
  g_free(address);
}

void Bluez::connected(const Glib::RefPtr<Gio::AsyncResult>& result) {
  try {
    m_connection = Gio::DBus::Connection::create_for_address_finish(result);
  } catch (const Glib::Error& error) {
    connectLater(error.what());
    return;
  }
  m_connection->set_exit_on_close(false);
  m_attempts = 0;
  m_missing = "BlueZ (bluetoothd) is not running: nothing owns org.bluez on the system bus";
  m_closed = m_connection->signal_closed().connect([this](bool, const Glib::Error&) {
    disconnect();
    connectLater("the connection was lost");
  });
  subscribe();
}

void Bluez::connectLater(const std::string& reason) {
  m_missing = "BlueZ can't be asked, because the system bus can't be reached (" + reason + ")";
  const unsigned pause = std::min(kFirstPause << std::min(m_attempts, 8U), kLongestPause);
  ++m_attempts;
  m_timer = Glib::signal_timeout().connect_seconds(
      [this] {
        connect();
        return false;
      },
      pause);
  changed();
}

void Bluez::subscribe() {
  listen(bluez::kObjectManager, "InterfacesAdded", &Bluez::onAdded);
  listen(bluez::kObjectManager, "InterfacesRemoved", &Bluez::onRemoved);
  listen(bluez::kProperties, "PropertiesChanged", &Bluez::onChanged);
  m_nameWatch = Gio::DBus::watch_name(
      m_connection, bluez::kService,
      [this](const Connection&, const Glib::ustring&, const Glib::ustring& owner) {
        appeared(owner);
      },
      [this](const Connection&, const Glib::ustring&) { vanished(); });
}

void Bluez::listen(const char* interface, const char* member,
                   void (Bluez::*handler)(const std::string&, GVariant*)) {
  m_subscriptions.push_back(m_connection->signal_subscribe(
      [this, handler](const Connection&, const Glib::ustring& sender, const Glib::ustring& path,
                      const Glib::ustring&, const Glib::ustring&,
                      const Glib::VariantContainerBase& arguments) {
        // Before the objects are known, what is told of them is in the answer to come.
        if (!m_ready || sender.raw() != m_owner) return;
        (this->*handler)(path, const_cast<GVariant*>(arguments.gobj()));
        changed();
      },
      bluez::kService, interface, member));
}

void Bluez::disconnect() {
  m_alive.reset();
  m_closed.disconnect();
  if (m_nameWatch != 0) Gio::DBus::unwatch_name(m_nameWatch);
  m_nameWatch = 0;
  for (const guint id : m_subscriptions) m_connection->signal_unsubscribe(id);
  m_subscriptions.clear();
  m_connection.reset();
  m_owner.clear();
  m_objects.clear();
  m_ready = false;
  m_denied = false;
  ++m_generation;
}

void Bluez::appeared(const std::string& owner) {
  m_owner = owner;
  m_ready = false;
  m_denied = false;
  m_objects.clear();
  ++m_generation;
  readObjects();
}

void Bluez::vanished() {
  m_owner.clear();
  m_ready = false;
  m_denied = false;
  m_objects.clear();
  ++m_generation;
  m_missing = "BlueZ (bluetoothd) is not running: nothing owns org.bluez on the system bus";
  changed();
}

void Bluez::readObjects() {
  const unsigned asked = m_generation;
  call("/", bluez::kObjectManager, "GetManagedObjects", nullptr, [this, asked](const Reply& reply) {
    if (asked == m_generation) objectsRead(reply);
  });
}

void Bluez::objectsRead(const Reply& reply) {
  m_ready = reply.body && m_objects.reset(reply.body.get());
  m_denied = reply.error == bluez::kAccessDenied;
  m_missing.clear();
  if (!m_ready)
    m_missing = "BlueZ doesn't tell of its adapters" +
                (reply.text.empty() ? std::string() : " (" + reply.text + ")");
  changed();
}

void Bluez::onAdded(const std::string&, GVariant* arguments) { m_objects.added(arguments); }

void Bluez::onRemoved(const std::string&, GVariant* arguments) { m_objects.removed(arguments); }

void Bluez::onChanged(const std::string& path, GVariant* arguments) {
  m_objects.changed(path, arguments);
}

void Bluez::changed() {
  if (m_onChange) m_onChange();
}

void Bluez::call(const std::string& path, const std::string& interface, const std::string& method,
                 GVariant* arguments, OnReply onReply) {
  if (!m_connection) {
    if (arguments != nullptr) g_variant_unref(g_variant_ref_sink(arguments));
    return;
  }
  GVariant* const tuple = arguments != nullptr ? arguments : g_variant_new_tuple(nullptr, 0);
  const Glib::VariantContainerBase body(g_variant_ref_sink(tuple), false);
  const auto finished = [connection = m_connection, alive = std::weak_ptr<char>(m_alive),
                         onReply =
                             std::move(onReply)](const Glib::RefPtr<Gio::AsyncResult>& result) {
    Reply reply;
    try {
      reply.body.reset(connection->call_finish(result).gobj_copy());
    } catch (const Glib::Error& error) {
      reply = failed(error);
    }
    if (!alive.expired() && onReply) onReply(reply);
  };
  // It isn't started by being asked: whoever switched it off had a reason.
  m_connection->call(path, interface, method, body, finished, bluez::kService, bluez::kTimeout,
                     Gio::DBus::CallFlags::NO_AUTO_START);
}

void Bluez::set(const std::string& path, const std::string& interface, const std::string& property,
                GVariant* value, OnReply onReply) {
  call(path, bluez::kProperties, "Set",
       g_variant_new("(ssv)", interface.c_str(), property.c_str(), value), std::move(onReply));
}

}  // namespace host
