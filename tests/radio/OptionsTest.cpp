#include <cerrno>
#include <cstring>

#include "tests/radio/RadioTest.h"

namespace radiotest {
namespace {

class OptionsTest : public RadioTest {
 protected:
  template <typename Value>
  static int Set(const Descriptor& socket, int level, int name, const Value& value) {
    return setsockopt(socket.get(), level, name, &value, sizeof value) == 0 ? 0 : errno;
  }

  template <typename Value>
  static Value Get(const Descriptor& socket, int level, int name) {
    Value value = {};
    socklen_t length = sizeof value;
    EXPECT_EQ(getsockopt(socket.get(), level, name, &value, &length), 0) << std::strerror(errno);
    EXPECT_EQ(length, sizeof value);
    return value;
  }

  static int SetSecurity(const Descriptor& socket, uint8_t level) {
    return Set(socket, SOL_BLUETOOTH, BT_SECURITY, bt_security{level, 0});
  }
  static int SecurityOf(const Descriptor& socket) {
    return Get<bt_security>(socket, SOL_BLUETOOTH, BT_SECURITY).level;
  }
  static int LinkModeOf(const Descriptor& socket) {
    return Get<int>(socket, SOL_RFCOMM, RFCOMM_LM);
  }
};

TEST_F(OptionsTest, HasLowSecurityByDefault) {
  const Descriptor socket = Socket();
  EXPECT_EQ(SecurityOf(socket), BT_SECURITY_LOW);
  EXPECT_EQ(SetSecurity(socket, BT_SECURITY_HIGH), 0);
  EXPECT_EQ(SecurityOf(socket), BT_SECURITY_HIGH);
}

TEST_F(OptionsTest, RejectsAnUnknownSecurityLevel) {
  EXPECT_EQ(SetSecurity(Socket(), BT_SECURITY_HIGH + 1), EINVAL);
}

TEST_F(OptionsTest, DerivesTheLinkModeFromTheSecurityLevel) {
  const Descriptor socket = Socket();
  EXPECT_EQ(LinkModeOf(socket), RFCOMM_LM_AUTH);
  EXPECT_EQ(Set(socket, SOL_RFCOMM, RFCOMM_LM, RFCOMM_LM_ENCRYPT | RFCOMM_LM_MASTER), 0);
  EXPECT_EQ(LinkModeOf(socket), RFCOMM_LM_AUTH | RFCOMM_LM_ENCRYPT | RFCOMM_LM_MASTER);
  EXPECT_EQ(SecurityOf(socket), BT_SECURITY_MEDIUM);
}

TEST_F(OptionsTest, GivesAcceptedLinksTheListenersSecurityLevel) {
  const Descriptor listener = Listener(4);
  ASSERT_EQ(SetSecurity(listener, BT_SECURITY_MEDIUM), 0);
  const Descriptor caller = Call(listener);
  EXPECT_EQ(SecurityOf(Accept(listener)), BT_SECURITY_MEDIUM);
  EXPECT_EQ(SecurityOf(caller), BT_SECURITY_LOW);
}

TEST_F(OptionsTest, ListensAfterAnOptionWasSet) {
  const Descriptor socket = Socket();
  ASSERT_EQ(Bind(socket, kPhone, 4), 0);
  ASSERT_EQ(SetSecurity(socket, BT_SECURITY_HIGH), 0);
  EXPECT_EQ(Listen(socket, 1), 0);
  EXPECT_EQ(NameOf(socket), "00:11:22:33:44:55#4");
}

TEST_F(OptionsTest, ReportsBluetoothDomainAndProtocol) {
  const Descriptor socket = Socket();
  EXPECT_EQ(Get<int>(socket, SOL_SOCKET, SO_DOMAIN), AF_BLUETOOTH);
  EXPECT_EQ(Get<int>(socket, SOL_SOCKET, SO_PROTOCOL), BTPROTO_RFCOMM);
  EXPECT_EQ(Get<int>(socket, SOL_SOCKET, SO_TYPE), SOCK_STREAM);
}

TEST_F(OptionsTest, ReturnsConnectionInformationOfALinkOnly) {
  rfcomm_conninfo info = {};
  socklen_t length = sizeof info;
  EXPECT_EQ(getsockopt(Socket().get(), SOL_RFCOMM, RFCOMM_CONNINFO, &info, &length), -1);
  EXPECT_EQ(errno, ENOTCONN);
  EXPECT_NE(Get<rfcomm_conninfo>(MakeLink().caller, SOL_RFCOMM, RFCOMM_CONNINFO).hci_handle, 0);
}

TEST_F(OptionsTest, PassesGeneralOptionsOn) {
  const Link link = MakeLink();
  EXPECT_EQ(Set(link.caller, SOL_SOCKET, SO_SNDBUF, 65536), 0);
  EXPECT_GE(Get<int>(link.caller, SOL_SOCKET, SO_SNDBUF), 65536);
  EXPECT_EQ(Get<int>(link.caller, SOL_SOCKET, SO_ERROR), 0);
}

TEST_F(OptionsTest, KeepsItsStateWhenThePacingRateIsSet) {
  const Link link = MakeLink();
  EXPECT_EQ(Set(link.caller, SOL_SOCKET, SO_MAX_PACING_RATE, 1), 0);
  EXPECT_EQ(PeerOf(link.caller), "00:11:22:33:44:55#4");
}

TEST_F(OptionsTest, RejectsUnknownOptions) {
  const Descriptor socket = Socket();
  EXPECT_EQ(Set(socket, SOL_RFCOMM, 99, 1), ENOPROTOOPT);
  EXPECT_EQ(Set(socket, SOL_BLUETOOTH, 99, 1), ENOPROTOOPT);
  EXPECT_EQ(Set(socket, SOL_L2CAP, 1, 1), ENOPROTOOPT);
}

}  // namespace
}  // namespace radiotest
