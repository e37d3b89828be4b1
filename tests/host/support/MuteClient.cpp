#include "tests/host/support/MuteClient.h"

#include <gio/gio.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <stdexcept>

namespace test {
namespace {

constexpr const char* kScheme = "unix:path=";

/// The user id for AUTH EXTERNAL: its decimal digits, hex encoded.
std::string identity() {
  std::string hex;
  for (const char digit : std::to_string(geteuid())) {
    hex += '3';
    hex += digit;
  }
  return hex;
}

}  // namespace

MuteClient::MuteClient(const std::string& address) : m_socket(::socket(AF_UNIX, SOCK_STREAM, 0)) {
  sockaddr_un place{};
  place.sun_family = AF_UNIX;
  const std::string path = address.substr(std::strlen(kScheme));
  path.copy(place.sun_path, sizeof place.sun_path - 1);
  if (::connect(m_socket, reinterpret_cast<const sockaddr*>(&place), sizeof place) != 0)
    throw std::runtime_error("no bus at " + path);
  authenticate();
  send("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "Hello", false);
}

MuteClient::~MuteClient() { ::close(m_socket); }

void MuteClient::authenticate() {
  const std::string greeting = std::string(1, '\0') + "AUTH EXTERNAL " + identity() + "\r\n";
  std::array<char, 256> answer{};
  if (::send(m_socket, greeting.data(), greeting.size(), MSG_NOSIGNAL) < 0 ||
      ::recv(m_socket, answer.data(), answer.size() - 1, 0) < 2 || answer[0] != 'O')
    throw std::runtime_error("the bus refuses us");
  const std::string begin = "BEGIN\r\n";
  if (::send(m_socket, begin.data(), begin.size(), MSG_NOSIGNAL) < 0)
    throw std::runtime_error("the bus closed the connection");
}

void MuteClient::subscribe() {
  send("org.obexphone.Phone", "/org/obexphone/FakeService", "org.obexphone.FakeServiceIfc",
       "subscribeEvent", true);
}

void MuteClient::send(const std::string& destination, const std::string& object,
                      const std::string& interface, const std::string& member, bool dictionary) {
  GDBusMessage* message = g_dbus_message_new_method_call(destination.c_str(), object.c_str(),
                                                         interface.c_str(), member.c_str());
  g_dbus_message_set_serial(message, ++m_serial);
  if (dictionary) g_dbus_message_set_body(message, g_variant_new_parsed("(@a{sv} {},)"));
  gsize size = 0;
  guchar* bytes = g_dbus_message_to_blob(message, &size, G_DBUS_CAPABILITY_FLAGS_NONE, nullptr);
  const ssize_t sent = ::send(m_socket, bytes, size, MSG_NOSIGNAL);
  g_free(bytes);
  g_object_unref(message);
  if (sent != static_cast<ssize_t>(size)) throw std::runtime_error("the bus takes no more");
}

std::size_t MuteClient::drain() {
  std::size_t total = 0;
  std::array<char, 65536> bytes{};
  pollfd ready{m_socket, POLLIN, 0};
  while (::poll(&ready, 1, 300) > 0) {
    const ssize_t got = ::recv(m_socket, bytes.data(), bytes.size(), 0);
    if (got <= 0) break;
    total += static_cast<std::size_t>(got);
  }
  return total;
}

}  // namespace test
