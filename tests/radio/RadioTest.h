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

/// A folder of its own for each test, and this process switched on as kPhone in it.
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
  /// Where the radio's files are: a folder within folder().
  void SetAir(const std::filesystem::path& air);

  /// Sockets that are set up from now on have this address.
  static void Become(const std::string& address);

  static Descriptor Socket(int flags = 0);
  /// These give 0 or the errno.
  static int Bind(const Descriptor& socket, const std::string& address, int channel);
  static int Listen(const Descriptor& socket, int backlog);
  static int Connect(const Descriptor& socket, const std::string& address, int channel);

  static Descriptor Listener(int channel, int backlog = 5);
  static Descriptor Accept(const Descriptor& listener);
  /// A link from kPeer to a listener of this process.
  static Descriptor Call(const Descriptor& listener);
  static Link MakeLink(int channel = 4);
  /// Connects to a process that may not listen yet.
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
