#include "host/bluetooth/Bluez.h"

#include <utility>

#include "dbus/BusAddress.h"

namespace host {
namespace {

constexpr const char* kObjectManager = "org.freedesktop.DBus.ObjectManager";
constexpr const char* kProperties = "org.freedesktop.DBus.Properties";
constexpr int kTimeoutMilliseconds = 20000;

constexpr const char* kNotRunning =
    "BlueZ (bluetoothd) is not running: nothing owns org.bluez on the system bus";

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
  try {
    const std::string address = dbus::BusAddress("system").resolve();
    m_alive = std::make_shared<char>();
    Gio::DBus::Connection::create_for_address(
        address,
        [this, alive = std::weak_ptr<char>(m_alive)](const Glib::RefPtr<Gio::AsyncResult>& result) {
          if (!alive.expired()) connected(result);
        },
        Gio::DBus::ConnectionFlags::AUTHENTICATION_CLIENT |
            Gio::DBus::ConnectionFlags::MESSAGE_BUS_CONNECTION);
  } catch (const Glib::Error& error) {
    connectLater(error.what());
  }
}

void Bluez::connected(const Glib::RefPtr<Gio::AsyncResult>& result) {
  try {
    m_connection = Gio::DBus::Connection::create_for_address_finish(result);
  } catch (const Glib::Error& error) {
    connectLater(error.what());
    return;
  }
  m_connection->set_exit_on_close(false);
  m_backoff.reset();
  m_missing = kNotRunning;
  m_closed = m_connection->signal_closed().connect([this](bool, const Glib::Error&) {
    disconnect();
    connectLater("connection lost");
  });
  subscribe();
}

void Bluez::connectLater(const std::string& reason) {
  m_missing = "can't reach BlueZ: no connection to the system bus (" + reason + ")";
  m_timer = Glib::signal_timeout().connect(
      [this] {
        connect();
        return false;
      },
      m_backoff.next());
  changed();
}

void Bluez::subscribe() {
  listen(kObjectManager, "InterfacesAdded",
         [this](const std::string&, GVariant* arguments) { m_objects.added(arguments); });
  listen(kObjectManager, "InterfacesRemoved",
         [this](const std::string&, GVariant* arguments) { m_objects.removed(arguments); });
  listen(kProperties, "PropertiesChanged", [this](const std::string& path, GVariant* arguments) {
    m_objects.changed(path, arguments);
  });
  m_nameWatch = Gio::DBus::watch_name(
      m_connection, bluez::kService,
      [this](const dbus::Connection&, const Glib::ustring&, const Glib::ustring& owner) {
        appeared(owner);
      },
      [this](const dbus::Connection&, const Glib::ustring&) { vanished(); });
}

void Bluez::listen(const char* interface, const char* member, OnSignal onSignal) {
  m_subscriptions.push_back(m_connection->signal_subscribe(
      [this, onSignal = std::move(onSignal)](
          const dbus::Connection&, const Glib::ustring& sender, const Glib::ustring& path,
          const Glib::ustring&, const Glib::ustring&, const Glib::VariantContainerBase& arguments) {
        // Changes before GetManagedObjects has answered are part of its answer.
        if (!m_ready || sender.raw() != m_owner) return;
        onSignal(path, const_cast<GVariant*>(arguments.gobj()));
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
  forgetObjects();
}

void Bluez::forgetObjects() {
  m_owner.clear();
  m_ready = false;
  m_denied = false;
  m_objects.clear();
  ++m_generation;
}

void Bluez::appeared(const std::string& owner) {
  forgetObjects();
  m_owner = owner;
  call("/", kObjectManager, "GetManagedObjects", nullptr,
       [this, asked = m_generation](const Reply& reply) {
         if (asked == m_generation) objectsRead(reply);
       });
}

void Bluez::vanished() {
  forgetObjects();
  m_missing = kNotRunning;
  changed();
}

void Bluez::objectsRead(const Reply& reply) {
  m_ready = reply.body && m_objects.reset(reply.body.get());
  m_denied = reply.error == bluez::kAccessDenied;
  m_missing.clear();
  if (!m_ready)
    m_missing = "BlueZ doesn't list its adapters" + (reply.text.empty() ? "" : ": " + reply.text);
  changed();
}

void Bluez::changed() {
  if (m_onChange) m_onChange();
}

void Bluez::call(const std::string& path, const std::string& interface, const std::string& method,
                 GVariant* arguments, OnReply onReply) {
  GVariant* const tuple = arguments != nullptr ? arguments : g_variant_new_tuple(nullptr, 0);
  const Glib::VariantContainerBase body(g_variant_ref_sink(tuple), false);
  if (!m_connection) return;
  const auto finished = [connection = m_connection, alive = std::weak_ptr<char>(m_alive),
                         onReply =
                             std::move(onReply)](const Glib::RefPtr<Gio::AsyncResult>& result) {
    Reply reply;
    try {
      reply.body.reset(connection->call_finish(result).gobj_copy());
    } catch (const Glib::Error& error) {
      reply.error = dbus::nameOf(error);
      reply.text = dbus::messageOf(error);
    }
    if (!alive.expired() && onReply) onReply(reply);
  };
  // No auto-start: whoever stopped BlueZ had a reason.
  m_connection->call(path, interface, method, body, finished, bluez::kService, kTimeoutMilliseconds,
                     Gio::DBus::CallFlags::NO_AUTO_START);
}

void Bluez::set(const std::string& path, const std::string& interface, const std::string& property,
                GVariant* value, OnReply onReply) {
  call(path, kProperties, "Set", g_variant_new("(ssv)", interface.c_str(), property.c_str(), value),
       std::move(onReply));
}

}  // namespace host
