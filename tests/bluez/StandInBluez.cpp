#include "tests/bluez/StandInBluez.h"

#include <cstdio>
#include <sstream>
#include <stdexcept>

namespace test {
namespace {

constexpr const char* kObjectManager = "org.freedesktop.DBus.ObjectManager";
constexpr const char* kProperties = "org.freedesktop.DBus.Properties";
constexpr const char* kAdapter = "org.bluez.Adapter1";
constexpr const char* kObjectPush = "00001105-0000-1000-8000-00805f9b34fb";
constexpr const char* kBluez = "org.bluez";

std::string orEmpty(const char* text) { return text != nullptr ? text : ""; }

GVariant* parse(const std::string& text) {
  GError* error = nullptr;
  GVariant* value = g_variant_parse(G_VARIANT_TYPE_VARDICT, text.c_str(), nullptr, nullptr, &error);
  if (value != nullptr) return value;
  const std::string reason = error->message;
  g_error_free(error);
  throw std::runtime_error(reason);
}

void takeName(GDBusConnection* connection) {
  GError* error = nullptr;
  constexpr guint32 kDoNotQueue = 4;
  GVariant* reply = g_dbus_connection_call_sync(
      connection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
      "RequestName", g_variant_new("(su)", kBluez, kDoNotQueue), nullptr, G_DBUS_CALL_FLAGS_NONE,
      -1, nullptr, &error);
  if (reply == nullptr) throw std::runtime_error(error->message);
  g_variant_unref(reply);
}

}  // namespace

StandInBluez::StandInBluez(const std::string& address) {
  GError* error = nullptr;
  m_connection = g_dbus_connection_new_for_address_sync(
      address.c_str(),
      static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                        G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
      nullptr, nullptr, &error);
  if (m_connection == nullptr) throw std::runtime_error(error->message);
  g_dbus_connection_add_filter(m_connection, &StandInBluez::filter, this, nullptr);
  takeName(m_connection);
}

StandInBluez::~StandInBluez() {
  g_dbus_connection_close_sync(m_connection, nullptr, nullptr);
  g_object_unref(m_connection);
}

GDBusMessage* StandInBluez::filter(GDBusConnection*, GDBusMessage* message, gboolean incoming,
                                   gpointer self) {
  if (incoming == FALSE ||
      g_dbus_message_get_message_type(message) != G_DBUS_MESSAGE_TYPE_METHOD_CALL)
    return message;
  static_cast<StandInBluez*>(self)->serve(message);
  return nullptr;
}

void StandInBluez::serve(GDBusMessage* call) {
  const std::lock_guard lock(m_mutex);
  const std::string method = orEmpty(g_dbus_message_get_member(call));
  if (m_holding.count(method) != 0) {
    std::printf("held %s\n", method.c_str());
    m_held.push_back(call);
    return;
  }
  carryOut(call);
  g_object_unref(call);
}

void StandInBluez::carryOut(GDBusMessage* call) {
  const std::string method = orEmpty(g_dbus_message_get_member(call));
  const std::string path = orEmpty(g_dbus_message_get_path(call));
  GVariant* body = g_dbus_message_get_body(call);
  char* const text = body != nullptr ? g_variant_print(body, FALSE) : g_strdup("()");
  std::string line = method + " " + path + " " + text;
  g_free(text);
  for (char& c : line) c = c == '\n' ? ' ' : c;
  std::printf("%s\n", line.c_str());
  const auto failing = m_failing.find(method);
  if (failing != m_failing.end()) {
    fail(call, failing->second, "as the test wants");
    return;
  }
  if (method == "Set" && refuses(call)) return;
  if (method == "RegisterProfile") {
    m_profileOwner = orEmpty(g_dbus_message_get_sender(call));
    const char* profile = nullptr;
    g_variant_get_child(body, 0, "&o", &profile);
    m_profilePath = profile;
  }
  GDBusMessage* reply = g_dbus_message_new_method_reply(call);
  if (GVariant* result = answer(path, method, body)) g_dbus_message_set_body(reply, result);
  send(reply);
}

void StandInBluez::fail(GDBusMessage* call, const std::string& error, const std::string& text) {
  send(g_dbus_message_new_method_error_literal(call, error.c_str(), text.c_str()));
}

bool StandInBluez::refuses(GDBusMessage* call) {
  const char* property = nullptr;
  g_variant_get(g_dbus_message_get_body(call), "(&s&sv)", nullptr, &property, nullptr);
  const auto refusal = m_refusing.find(property);
  if (refusal == m_refusing.end() || refusal->second.times <= 0) return false;
  --refusal->second.times;
  fail(call, refusal->second.error, refusal->second.text);
  return true;
}

GVariant* StandInBluez::answer(const std::string& path, const std::string& method, GVariant* body) {
  if (method == "GetManagedObjects") return managedObjects();
  if (method == "RegisterProfile" || method == "UnregisterProfile")
    offerObjectPush(method == "RegisterProfile");
  if (method == "Set") {
    const char* interface = nullptr;
    const char* property = nullptr;
    GVariant* value = nullptr;
    g_variant_get(body, "(&s&sv)", &interface, &property, &value);
    set(path, interface, property, value);
    g_variant_unref(value);
  }
  return nullptr;
}

void StandInBluez::send(GDBusMessage* message) {
  g_dbus_connection_send_message(m_connection, message, G_DBUS_SEND_MESSAGE_FLAGS_NONE, nullptr,
                                 nullptr);
  g_object_unref(message);
}

void StandInBluez::signal(const std::string& path, const char* interface, const char* member,
                          GVariant* body) {
  GDBusMessage* message = g_dbus_message_new_signal(path.c_str(), interface, member);
  g_dbus_message_set_body(message, body);
  send(message);
}

GVariant* StandInBluez::dictionary(const Properties& properties) {
  GVariantBuilder builder;
  g_variant_builder_init(&builder, G_VARIANT_TYPE_VARDICT);
  for (const auto& [name, value] : properties)
    g_variant_builder_add(&builder, "{sv}", name.c_str(), value);
  return g_variant_builder_end(&builder);
}

GVariant* StandInBluez::managedObjects() {
  GVariantBuilder objects;
  g_variant_builder_init(&objects, G_VARIANT_TYPE("a{oa{sa{sv}}}"));
  for (const auto& [path, object] : m_objects) {
    GVariantBuilder interfaces;
    g_variant_builder_init(&interfaces, G_VARIANT_TYPE("a{sa{sv}}"));
    for (const auto& [name, properties] : object)
      g_variant_builder_add(&interfaces, "{s@a{sv}}", name.c_str(), dictionary(properties));
    g_variant_builder_add(&objects, "{oa{sa{sv}}}", path.c_str(), &interfaces);
  }
  return g_variant_new("(a{oa{sa{sv}}})", &objects);
}

void StandInBluez::store(const std::string& path, const std::string& interface,
                         const std::string& text) {
  GVariant* values = parse(text);
  GVariantIter iterator;
  g_variant_iter_init(&iterator, values);
  const char* name = nullptr;
  GVariant* value = nullptr;
  Properties& properties = m_objects[path][interface];
  while (g_variant_iter_next(&iterator, "{&sv}", &name, &value) != FALSE) {
    GVariant*& place = properties[name];
    if (place != nullptr) g_variant_unref(place);
    place = value;
  }
  g_variant_unref(values);
}

void StandInBluez::add(const std::string& path, const std::string& interface,
                       const std::string& properties) {
  store(path, interface, properties);
  GVariantBuilder interfaces;
  g_variant_builder_init(&interfaces, G_VARIANT_TYPE("a{sa{sv}}"));
  g_variant_builder_add(&interfaces, "{s@a{sv}}", interface.c_str(),
                        dictionary(m_objects[path][interface]));
  signal("/", kObjectManager, "InterfacesAdded",
         g_variant_new("(oa{sa{sv}})", path.c_str(), &interfaces));
}

void StandInBluez::remove(const std::string& path, const std::string& interface) {
  for (auto& [name, value] : m_objects[path][interface]) g_variant_unref(value);
  m_objects[path].erase(interface);
  if (m_objects[path].empty()) m_objects.erase(path);
  const char* const interfaces[] = {interface.c_str(), nullptr};
  signal("/", kObjectManager, "InterfacesRemoved",
         g_variant_new("(o^as)", path.c_str(), interfaces));
}

void StandInBluez::change(const std::string& path, const std::string& interface,
                          const std::string& properties) {
  store(path, interface, properties);
  const char* const none[] = {nullptr};
  signal(path, kProperties, "PropertiesChanged",
         g_variant_new("(s@a{sv}^as)", interface.c_str(), parse(properties), none));
}

void StandInBluez::set(const std::string& path, const std::string& interface,
                       const std::string& property, GVariant* value) {
  if (m_objects.count(path) == 0) return;
  char* const text = g_variant_print(value, TRUE);
  change(path, interface, "{'" + property + "': <" + text + ">}");
  g_free(text);
}

void StandInBluez::offerObjectPush(bool offered) {
  for (const auto& [path, object] : std::map<std::string, Object>(m_objects)) {
    if (object.count(kAdapter) == 0) continue;
    change(path, kAdapter,
           offered ? std::string("{'UUIDs': <['") + kObjectPush + "']>}" : "{'UUIDs': <@as []>}");
  }
}

void StandInBluez::work(const std::string& method) {
  m_failing.erase(method);
  m_holding.erase(method);
  std::deque<GDBusMessage*> held;
  held.swap(m_held);
  for (GDBusMessage* call : held) {
    carryOut(call);
    g_object_unref(call);
  }
}

void StandInBluez::refuse(const std::string& property, const std::string& error,
                          const std::string& rest) {
  std::istringstream words(rest);
  Refusal& refusal = m_refusing[property];
  refusal.error = error;
  words >> refusal.times >> std::ws;
  std::getline(words, refusal.text);
}

void StandInBluez::release() {
  offerObjectPush(false);
  GDBusMessage* call = g_dbus_message_new_method_call(m_profileOwner.c_str(), m_profilePath.c_str(),
                                                      "org.bluez.Profile1", "Release");
  send(call);
}

bool StandInBluez::command(const std::string& line) {
  const std::lock_guard lock(m_mutex);
  std::istringstream words(line);
  std::string verb;
  std::string first;
  std::string second;
  std::string rest;
  words >> verb >> first >> second;
  std::getline(words, rest);
  if (verb == "add") {
    add(first, second, rest);
  } else if (verb == "remove") {
    remove(first, second);
  } else if (verb == "change") {
    change(first, second, rest);
  } else if (verb == "fail") {
    m_failing[first] = second;
  } else if (verb == "refuse") {
    refuse(first, second, rest);
  } else if (verb == "hold") {
    m_holding.insert(first);
  } else if (verb == "work") {
    work(first);
  } else if (verb == "release") {
    release();
  } else {
    return false;
  }
  std::printf("done %s\n", line.c_str());
  return true;
}

}  // namespace test
