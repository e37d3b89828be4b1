#pragma once

#include <bluetooth/bluetooth.h>
#include <bluetooth/rfcomm.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "tests/radio/Descriptor.h"

namespace radiotest {

constexpr char kPhone[] = "00:11:22:33:44:55";
constexpr char kPeer[] = "66:77:88:99:AA:BB";
constexpr char kNobody[] = "0A:0B:0C:0D:0E:0F";

sockaddr_rc rcAddress(const std::string& address, int channel);

/// "00:11:22:33:44:55#4"
std::string textOf(const sockaddr_rc& address);

/// Gives each test a radio folder of its own, with this process as kPhone.
class RadioTest : public ::testing::Test {
 protected:
  struct Link {
    Descriptor caller;
    Descriptor called;
  };

  RadioTest();
  ~RadioTest() override;

  const std::filesystem::path& folder() const { return m_folder; }
  std::filesystem::path channelFile(const std::string& name) const { return m_air / name; }
  /// Sets the radio's folder: folder() or one within it.
  void SetAir(const std::filesystem::path& air);

  /// Sets the address of sockets opened from now on.
  static void Become(const std::string& address);

  static Descriptor Socket(int flags = 0);
  /// These return 0 or the errno.
  static int Bind(const Descriptor& socket, const std::string& address, int channel);
  static int Listen(const Descriptor& socket, int backlog);
  static int Connect(const Descriptor& socket, const std::string& address, int channel);

  static Descriptor Listener(int channel, int backlog = 5);
  static Descriptor Accept(const Descriptor& listener);
  /// Connects kPeer to a listener of this process.
  static Descriptor Call(const Descriptor& listener);
  static Link MakeLink(int channel = 4);
  /// Retries until the other process listens.
  static Descriptor CallSoon(const std::string& address, int channel);

  static std::string NameOf(const Descriptor& socket);
  static std::string PeerOf(const Descriptor& socket);

  static void Send(const Descriptor& socket, const std::string& text);
  static std::string Receive(const Descriptor& socket);
  static void ExpectReset(const Descriptor& socket);
  static void WaitReadable(const Descriptor& socket);

 private:
  std::filesystem::path m_folder;
  std::filesystem::path m_air;
};

}  // namespace radiotest
