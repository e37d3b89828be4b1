#include "host/bluetooth/Bluez.h"

#include <gmock/gmock.h>

#include "tests/host/bluetooth/BluezFixture.h"

namespace {

using testing::HasSubstr;

class BluezTest : public test::BluezFixture {
 protected:
  void begin() {
    m_client.start([this] { ++m_changes; });
  }
  bool becomesReady() {
    return runUntil([this] { return m_client.ready(); });
  }
  const host::AdapterFacts* adapter() const { return m_client.objects().adapter(""); }

  host::Bluez m_client;
  int m_changes = 0;
};

}  // namespace

TEST_F(BluezTest, ReportsAMissingBus) {
  ::setenv("DBUS_SYSTEM_BUS_ADDRESS", ("unix:path=" + m_folder.file("nothing")).c_str(), 1);
  begin();
  ASSERT_TRUE(runUntil([this] { return m_changes > 0; }));
  EXPECT_THAT(m_client.missing(), HasSubstr("no connection to the system bus"));
  EXPECT_FALSE(m_client.ready());
}

TEST_F(BluezTest, ReportsAMissingBluez) {
  begin();
  ASSERT_TRUE(runUntil([this] { return m_changes > 0; }));
  EXPECT_THAT(m_client.missing(), HasSubstr("nothing owns org.bluez"));
}

TEST_F(BluezTest, FollowsAdaptersAndDevices) {
  m_bluez.start();
  begin();
  ASSERT_TRUE(becomesReady());
  EXPECT_EQ(adapter(), nullptr);
  m_bluez.addAdapter();
  EXPECT_TRUE(runUntil([this] { return adapter() != nullptr; }));
  m_bluez.changeAdapter("'Powered': <false>");
  EXPECT_TRUE(runUntil([this] { return !adapter()->powered; }));
  m_bluez.addDevice("66:77:88:99:AA:BB", "Anna");
  EXPECT_TRUE(runUntil([this] { return m_client.objects().devices().size() == 1; }));
  m_bluez.removeAdapter();
  EXPECT_TRUE(runUntil([this] { return adapter() == nullptr; }));
}

TEST_F(BluezTest, FindsARestartedBluez) {
  m_bluez.start();
  m_bluez.addAdapter();
  begin();
  ASSERT_TRUE(becomesReady());
  const unsigned before = m_client.generation();
  m_bluez.kill();
  ASSERT_TRUE(runUntil([this] { return !m_client.ready(); }));
  EXPECT_EQ(adapter(), nullptr);
  m_bluez.start();
  EXPECT_TRUE(becomesReady());
  EXPECT_NE(m_client.generation(), before);
}

TEST_F(BluezTest, ReconnectsToARestartedBus) {
  begin();
  ASSERT_TRUE(runUntil([this] { return m_changes > 0; }));
  m_bus.kill();
  ASSERT_TRUE(
      runUntil([this] { return m_client.missing().find("no connection") != std::string::npos; }));
  ASSERT_TRUE(m_bus.start());
  m_bluez.start();
  EXPECT_TRUE(becomesReady());
}

TEST_F(BluezTest, BecomesReadyWhenBluezAnswersLate) {
  m_bluez.start();
  m_bluez.tell("hold GetManagedObjects");
  begin();
  ASSERT_TRUE(runUntil([this] { return m_bluez.times("held GetManagedObjects") == 1; }));
  EXPECT_FALSE(m_client.ready());
  m_bluez.tell("work GetManagedObjects");
  EXPECT_TRUE(becomesReady());
}

TEST_F(BluezTest, ReportsWhenTheBusPolicyDeniesAccess) {
  m_bluez.start();
  m_bluez.tell("fail GetManagedObjects org.freedesktop.DBus.Error.AccessDenied");
  begin();
  ASSERT_TRUE(runUntil([this] { return m_client.denied(); }));
  EXPECT_FALSE(m_client.ready());
  m_bluez.kill();
  EXPECT_TRUE(runUntil([this] { return !m_client.denied(); }));
}

TEST_F(BluezTest, DropsRepliesAfterStop) {
  m_bluez.start();
  begin();
  ASSERT_TRUE(becomesReady());
  m_bluez.tell("hold Set");
  bool answered = false;
  m_client.set("/org/bluez/hci0", "org.bluez.Adapter1", "Powered", g_variant_new_boolean(TRUE),
               [&](const host::Bluez::Reply&) { answered = true; });
  ASSERT_TRUE(runUntil([this] { return m_bluez.times("held Set") == 1; }));
  m_client.stop();
  m_bluez.tell("work Set");
  // Whatever the bus delivered before is dispatched by then.
  begin();
  ASSERT_TRUE(becomesReady());
  EXPECT_FALSE(answered);
}

TEST_F(BluezTest, PassesOnTheNameOfAnError) {
  m_bluez.start();
  m_bluez.tell("fail Set org.bluez.Error.NotReady");
  begin();
  ASSERT_TRUE(becomesReady());
  std::string error;
  m_client.set("/org/bluez/hci0", "org.bluez.Adapter1", "Powered", g_variant_new_boolean(TRUE),
               [&](const host::Bluez::Reply& reply) { error = reply.error; });
  EXPECT_TRUE(runUntil([&] { return error == "org.bluez.Error.NotReady"; })) << error;
}
