#include <gmock/gmock.h>

#include <regex>
#include <set>

#include "host/bluetooth/Bluetooth.h"
#include "tests/host/bluetooth/BluezFixture.h"

namespace {

using testing::HasSubstr;

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
  /// Bluetooth has processed every signal sent so far.
  void settle() {
    m_bluez.addDevice("66:77:88:99:AA:BB", "Anna");
    ASSERT_TRUE(
        runUntil([this] { return m_bluetooth.peers().find("66:77:88:99:AA:BB").name != ""; }));
  }
  std::set<std::string> registeredUuids() const {
    static const std::regex kUuid("[0-9a-f]{8}(-[0-9a-f]{4}){3}-[0-9a-f]{12}");
    const std::string asked = m_bluez.asked();
    std::set<std::string> uuids;
    for (std::sregex_iterator it(asked.begin(), asked.end(), kUuid), end; it != end; ++it)
      uuids.insert(it->str());
    return uuids;
  }

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

TEST_F(RecordTest, StaysWhileTheServerReopensItsSocket) {
  beginWithAdapter();
  m_bluetooth.listening(4);
  ASSERT_TRUE(recordBecomes("published"));
  m_bluetooth.listening(0);
  m_bluetooth.listening(4);
  outlastTimers(std::chrono::seconds(1));
  settle();
  EXPECT_EQ(m_bluez.times("UnregisterProfile"), 0);
  EXPECT_EQ(record(), "published");
}

TEST_F(RecordTest, IsRegisteredAgainAfterBluezRestarts) {
  beginWithAdapter();
  m_bluetooth.listening(4);
  ASSERT_TRUE(recordBecomes("published"));
  m_bluez.kill();
  EXPECT_TRUE(recordBecomes("bluetoothd) is not running"));
  m_bluez.start();
  m_bluez.addAdapter();
  ASSERT_TRUE(runUntil([this] { return m_bluez.times("RegisterProfile") == 1; }));
  m_bluez.changeAdapter("'UUIDs': <['00001105-0000-1000-8000-00805F9B34FB']>");
  EXPECT_TRUE(recordBecomes("published")) << record();
}

TEST_F(RecordTest, IsReportedAndTriedAgainWhenRefused) {
  m_bluez.start();
  m_bluez.tell("fail RegisterProfile org.bluez.Error.NotPermitted");
  m_bluez.addAdapter();
  begin();
  m_bluetooth.listening(4);
  ASSERT_TRUE(recordBecomes("BlueZ refuses it")) << record();
  m_bluez.tell("work RegisterProfile");
  EXPECT_TRUE(recordBecomes("published")) << record();
}

TEST_F(RecordTest, ReportsWhenTheBusPolicyDeniesIt) {
  m_bluez.start();
  m_bluez.tell("fail RegisterProfile org.freedesktop.DBus.Error.AccessDenied");
  m_bluez.addAdapter();
  begin();
  m_bluetooth.listening(4);
  ASSERT_TRUE(recordBecomes("the system bus's policy denies access to BlueZ: as the test wants"));
  EXPECT_TRUE(m_bluetooth.state().recordDenied);
  m_bluez.tell("work RegisterProfile");
  ASSERT_TRUE(recordBecomes("published")) << record();
  EXPECT_FALSE(m_bluetooth.state().recordDenied);
}

TEST_F(RecordTest, IsTriedAgainOnlyAfterAPause) {
  m_bluez.start();
  m_bluez.tell("fail RegisterProfile org.bluez.Error.AlreadyExists");
  m_bluez.addAdapter();
  begin();
  m_bluetooth.listening(4);
  ASSERT_TRUE(recordBecomes("BlueZ refuses it"));
  for (int i = 0; i < 50; ++i) m_bluez.changeAdapter("'Alias': <'x'>");
  settle();
  EXPECT_LE(m_bluez.times("RegisterProfile /org/bluez"), 3);
}

TEST_F(RecordTest, IsRegisteredAgainUnderANewUuidWhenBluezDropsIt) {
  beginWithAdapter();
  m_bluetooth.listening(4);
  ASSERT_TRUE(recordBecomes("published"));
  m_bluez.tell("release");
  ASSERT_TRUE(runUntil([this] { return m_bluez.times("RegisterProfile /org/bluez") == 2; }));
  EXPECT_TRUE(runUntil([this] { return registeredUuids().size() == 2; }));
}

TEST_F(RecordTest, IsNotPublishedUnlessTheAdapterAdvertisesIt) {
  beginWithAdapter();
  m_bluetooth.listening(4);
  ASSERT_TRUE(recordBecomes("published"));
  m_bluez.changeAdapter("'UUIDs': <@as []>");
  EXPECT_TRUE(recordBecomes("the adapter doesn't advertise it"));
}

TEST_F(RecordTest, LogsAMissingAdapterOnce) {
  m_bluez.start();
  begin();
  m_bluetooth.listening(4);
  ASSERT_TRUE(recordBecomes("there is no Bluetooth adapter"));
  settle();
  EXPECT_EQ(m_log.count("Bluetooth: other phones can't find this one: there is no Bluetooth "
                        "adapter"),
            1);
}

TEST(ServiceRecord, NamesObjectPushOnTheChannel) {
  const std::string record = host::serviceRecord(4);
  EXPECT_THAT(record, HasSubstr(R"(<attribute id="0x0001"><sequence><uuid value="0x1105"/>)"));
  EXPECT_THAT(record, HasSubstr(R"(<uuid value="0x0003"/><uint8 value="0x04"/>)"));
  EXPECT_THAT(host::serviceRecord(30), HasSubstr(R"(<uint8 value="0x1e"/>)"));
}

TEST(ServiceRecord, ListsVcardsAsItsOnlyFormats) {
  EXPECT_THAT(host::serviceRecord(4),
              HasSubstr(R"(<sequence><uint8 value="0x01"/><uint8 value="0x02"/></sequence>)"));
}
