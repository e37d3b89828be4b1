#include <gmock/gmock.h>

#include "host/bluetooth/Bluetooth.h"
#include "tests/host/bluetooth/BluezFixture.h"

namespace {

using testing::HasSubstr;

/// The telephone's side of BlueZ while receiving is switched on and off.
class RecordTest : public test::BluezFixture {
 protected:
  void begin() { m_bluetooth.start(); }
  void beginWithAdapter() {
    m_bluez.start();
    m_bluez.addAdapter();
    begin();
  }
  bool recordBecomes(const std::string& state) {
    return runUntil([&] { return record().find(state) != std::string::npos; });
  }
  std::string record() const { return m_bluetooth.state().record; }

  host::Bluetooth m_bluetooth{""};
};

}  // namespace

TEST_F(RecordTest, IsPublishedWhileReceivingIsOn) {
  beginWithAdapter();
  EXPECT_EQ(record(), "off");
  m_bluetooth.listening(4);
  EXPECT_TRUE(recordBecomes("published")) << record();
  EXPECT_THAT(m_bluez.asked(), HasSubstr(R"(<uint8 value="0x04"/>)"));
  m_bluetooth.listening(0);
  EXPECT_TRUE(recordBecomes("off"));
  EXPECT_TRUE(runUntil([this] { return m_bluez.times("UnregisterProfile /org/bluez") == 1; }));
}

TEST_F(RecordTest, StaysWhileALinkIsOpenedAnew) {
  beginWithAdapter();
  m_bluetooth.listening(4);
  ASSERT_TRUE(recordBecomes("published"));
  m_bluetooth.listening(0);
  m_bluetooth.listening(4);
  EXPECT_FALSE(runUntil([this] { return m_bluez.times("UnregisterProfile") != 0; },
                        std::chrono::seconds(2)));
  EXPECT_EQ(record(), "published");
}

TEST_F(RecordTest, IsRegisteredAgainWithARestartedBluez) {
  beginWithAdapter();
  m_bluetooth.listening(4);
  ASSERT_TRUE(recordBecomes("published"));
  m_bluez.kill();
  EXPECT_TRUE(recordBecomes("bluetoothd) is not running"));
  m_bluez.start();
  m_bluez.addAdapter();
  // The adapter that came after the registration offers it when BlueZ says so.
  ASSERT_TRUE(runUntil([this] { return m_bluez.times("RegisterProfile") == 1; }));
  m_bluez.changeAdapter("'UUIDs': <['00001105-0000-1000-8000-00805F9B34FB']>");
  EXPECT_TRUE(recordBecomes("published")) << record();
}

TEST_F(RecordTest, ThatIsRefusedIsToldAndTriedAgain) {
  m_bluez.start();
  m_bluez.tell("fail RegisterProfile org.bluez.Error.NotPermitted");
  m_bluez.addAdapter();
  begin();
  m_bluetooth.listening(4);
  ASSERT_TRUE(recordBecomes("BlueZ doesn't take it")) << record();
  m_bluez.tell("work RegisterProfile");
  EXPECT_TRUE(recordBecomes("published")) << record();
}

TEST_F(RecordTest, ThatTheBusKeepsFromBluezIsToldAsSuch) {
  m_bluez.start();
  m_bluez.tell("fail RegisterProfile org.freedesktop.DBus.Error.AccessDenied");
  m_bluez.addAdapter();
  begin();
  m_bluetooth.listening(4);
  ASSERT_TRUE(recordBecomes("the policy of the system bus keeps it from BlueZ: as the test wants"));
  EXPECT_TRUE(m_bluetooth.state().recordDenied);
  m_bluez.tell("work RegisterProfile");
  ASSERT_TRUE(recordBecomes("published")) << record();
  EXPECT_FALSE(m_bluetooth.state().recordDenied);
}

TEST_F(RecordTest, IsNotTriedWithoutAPause) {
  m_bluez.start();
  m_bluez.tell("fail RegisterProfile org.bluez.Error.AlreadyExists");
  m_bluez.addAdapter();
  begin();
  m_bluetooth.listening(4);
  ASSERT_TRUE(recordBecomes("BlueZ doesn't take it"));
  for (int i = 0; i < 50; ++i) m_bluez.changeAdapter("'Alias': <'x'>");
  runUntil([] { return false; }, std::chrono::seconds(1));
  EXPECT_LE(m_bluez.times("RegisterProfile /org/bluez"), 3);
}

TEST_F(RecordTest, ThatBluezGivesBackIsRegisteredAgain) {
  beginWithAdapter();
  m_bluetooth.listening(4);
  ASSERT_TRUE(recordBecomes("published"));
  m_bluez.tell("release");
  EXPECT_TRUE(runUntil([this] { return m_bluez.times("RegisterProfile /org/bluez") == 2; }));
}

TEST_F(RecordTest, ThatNoAdapterOffersIsNotPublished) {
  beginWithAdapter();
  m_bluetooth.listening(4);
  ASSERT_TRUE(recordBecomes("published"));
  m_bluez.changeAdapter("'UUIDs': <@as []>");
  EXPECT_TRUE(recordBecomes("the adapter doesn't offer it"));
}

TEST_F(RecordTest, MissingAdapterIsLoggedOnce) {
  m_bluez.start();
  begin();
  m_bluetooth.listening(4);
  ASSERT_TRUE(recordBecomes("there is no Bluetooth adapter"));
  m_bluez.addDevice("66:77:88:99:AA:BB", "Anna");
  ASSERT_TRUE(
      runUntil([this] { return m_bluetooth.peers().find("66:77:88:99:AA:BB").name != ""; }));
  EXPECT_EQ(m_log.count("Bluetooth: other phones can't find this one: there is no Bluetooth "
                        "adapter"),
            1);
}
