#include "tests/radio/RadioTest.h"

#include <poll.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "radio/Address.h"
#include "tests/support/WaitFor.h"

namespace radiotest {
namespace {

sockaddr* generic(sockaddr_rc& address) { return reinterpret_cast<sockaddr*>(&address); }

std::string nameBy(int (*call)(int, sockaddr*, socklen_t*), int fd) {
  sockaddr_rc name = {};
  socklen_t length = sizeof name;
  if (call(fd, generic(name), &length) != 0) return std::strerror(errno);
  EXPECT_EQ(length, sizeof name);
  EXPECT_EQ(name.rc_family, AF_BLUETOOTH);
  return textOf(name);
}

}  // namespace

sockaddr_rc rcAddress(const std::string& address, int channel) {
  sockaddr_rc result = {};
  result.rc_family = AF_BLUETOOTH;
  EXPECT_TRUE(radio::parseAddress(address.c_str(), &result.rc_bdaddr));
  result.rc_channel = static_cast<uint8_t>(channel);
  return result;
}

std::string textOf(const sockaddr_rc& address) {
  char text[40];
  const uint8_t* b = address.rc_bdaddr.b;
  std::snprintf(text, sizeof text, "%02X:%02X:%02X:%02X:%02X:%02X#%d", b[5], b[4], b[3], b[2], b[1],
                b[0], address.rc_channel);
  return text;
}

RadioTest::RadioTest() {
  std::string pattern = std::filesystem::temp_directory_path() / "radio-test-XXXXXX";
  m_folder = mkdtemp(pattern.data());
  SetAir(m_folder);
  Become(kPhone);
}

RadioTest::~RadioTest() {
  std::error_code ignored;
  std::filesystem::remove_all(m_folder, ignored);
}

void RadioTest::SetAir(const std::filesystem::path& air) {
  m_air = air;
  setenv("VIRTUAL_RADIO_DIR", air.c_str(), 1);
}

void RadioTest::Become(const std::string& address) {
  setenv("VIRTUAL_RADIO_ADDRESS", address.c_str(), 1);
}

Descriptor RadioTest::Socket(int flags) {
  Descriptor result(socket(AF_BLUETOOTH, SOCK_STREAM | SOCK_CLOEXEC | flags, BTPROTO_RFCOMM));
  EXPECT_GE(result.get(), 0) << std::strerror(errno);
  return result;
}

int RadioTest::Bind(const Descriptor& socket, const std::string& address, int channel) {
  sockaddr_rc name = rcAddress(address, channel);
  return bind(socket.get(), generic(name), sizeof name) == 0 ? 0 : errno;
}

int RadioTest::Listen(const Descriptor& socket, int backlog) {
  return listen(socket.get(), backlog) == 0 ? 0 : errno;
}

int RadioTest::Connect(const Descriptor& socket, const std::string& address, int channel) {
  sockaddr_rc name = rcAddress(address, channel);
  return connect(socket.get(), generic(name), sizeof name) == 0 ? 0 : errno;
}

Descriptor RadioTest::Listener(int channel, int backlog) {
  Descriptor result = Socket();
  EXPECT_EQ(Bind(result, "00:00:00:00:00:00", channel), 0);
  EXPECT_EQ(Listen(result, backlog), 0);
  return result;
}

Descriptor RadioTest::Accept(const Descriptor& listener) {
  Descriptor result(accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
  EXPECT_GE(result.get(), 0) << std::strerror(errno);
  return result;
}

Descriptor RadioTest::Call(const Descriptor& listener) {
  sockaddr_rc name = {};
  socklen_t length = sizeof name;
  EXPECT_EQ(getsockname(listener.get(), generic(name), &length), 0);
  Become(kPeer);
  Descriptor result = Socket();
  EXPECT_EQ(Connect(result, kPhone, name.rc_channel), 0);
  Become(kPhone);
  return result;
}

RadioTest::Link RadioTest::MakeLink(int channel) {
  const Descriptor listener = Listener(channel);
  Link link;
  link.caller = Call(listener);
  link.called = Accept(listener);
  return link;
}

Descriptor RadioTest::CallSoon(const std::string& address, int channel) {
  Descriptor result;
  EXPECT_TRUE(test::waitFor([&] {
    result = Socket();
    return Connect(result, address, channel) == 0;
  }));
  return result;
}

std::string RadioTest::NameOf(const Descriptor& socket) {
  return nameBy([](int fd, sockaddr* a, socklen_t* l) { return getsockname(fd, a, l); },
                socket.get());
}

std::string RadioTest::PeerOf(const Descriptor& socket) {
  return nameBy([](int fd, sockaddr* a, socklen_t* l) { return getpeername(fd, a, l); },
                socket.get());
}

void RadioTest::Send(const Descriptor& socket, const std::string& text) {
  EXPECT_EQ(send(socket.get(), text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
}

std::string RadioTest::Receive(const Descriptor& socket) {
  char buffer[256];
  const ssize_t got = recv(socket.get(), buffer, sizeof buffer, 0);
  if (got < 0) return std::strerror(errno);
  return std::string(buffer, static_cast<size_t>(got));
}

void RadioTest::ExpectReset(const Descriptor& socket) {
  char byte = 0;
  errno = 0;
  EXPECT_EQ(recv(socket.get(), &byte, 1, 0), -1);
  EXPECT_EQ(errno, ECONNRESET);
}

void RadioTest::WaitReadable(const Descriptor& socket) {
  pollfd wait = {socket.get(), POLLIN, 0};
  EXPECT_EQ(poll(&wait, 1, 60000), 1);
}

}  // namespace radiotest
