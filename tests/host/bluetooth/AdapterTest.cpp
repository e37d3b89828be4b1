#include <gmock/gmock.h>

#include "host/bluetooth/Bluetooth.h"
#include "tests/host/bluetooth/BluezFixture.h"

namespace {

using testing::HasSubstr;

constexpr const char* kOff = "'Powered': <false>, 'Discoverable': <false>";

class AdapterTest : public test::BluezFixture {
 protected:
  void begin() {
    m_bluez.start();
    m_bluetooth.start();
  }
  bool becomesPowered() {
    return runUntil([this] { return m_bluetooth.state().powered; });
  }
  bool becomesVisible(bool visible = true) {
    return runUntil([=, this] { return m_bluetooth.state().discoverable == visible; });
  }

  host::Bluetooth m_bluetooth{""};
};

}  // namespace

TEST_F(AdapterTest, IsSwitchedOnWhenReceivingBegins) {
  begin();
  m_bluez.addAdapter(kOff);
  ASSERT_TRUE(runUntil([this] { return m_bluetooth.state().adapter == "hci0"; }));
  EXPECT_EQ(m_bluez.times("Set /org/bluez/hci0"), 0);
  m_bluetooth.listening(4);
  EXPECT_TRUE(becomesPowered());
}

TEST_F(AdapterTest, IsSwitchedOnWhenItComesWhileReceivingIsOn) {
  begin();
  m_bluetooth.listening(4);
  m_bluez.addAdapter(kOff);
  EXPECT_TRUE(becomesPowered());
}

TEST_F(AdapterTest, StaysOffWhenTheUserSwitchedItOff) {
  begin();
  m_bluetooth.listening(4);
  m_bluez.addAdapter(kOff);
  ASSERT_TRUE(becomesPowered());
  m_bluez.changeAdapter("'Powered': <false>");
  EXPECT_FALSE(runUntil([this] { return m_bluez.times("Set /org/bluez/hci0") > 1; },
                        std::chrono::seconds(1)));
  EXPECT_FALSE(m_bluetooth.state().powered);
}

TEST_F(AdapterTest, ThatTheUserSwitchedOffIsSwitchedOnToBeVisible) {
  begin();
  m_bluetooth.listening(4);
  m_bluez.addAdapter(kOff);
  ASSERT_TRUE(becomesPowered());
  m_bluez.changeAdapter("'Powered': <false>");
  ASSERT_TRUE(runUntil([this] { return !m_bluetooth.state().powered; }));
  m_bluetooth.makeVisible(600);
  EXPECT_TRUE(becomesVisible());
}

TEST_F(AdapterTest, IsVisibleForAsLongAsAsked) {
  begin();
  m_bluez.addAdapter();
  m_bluetooth.makeVisible(2);
  ASSERT_TRUE(becomesVisible());
  EXPECT_THAT(m_bluez.asked(), HasSubstr("'DiscoverableTimeout', <uint32 2>"));
  EXPECT_GT(m_bluetooth.state().visibleSeconds, 0);
  EXPECT_TRUE(becomesVisible(false));
  EXPECT_EQ(m_bluetooth.state().visibleSeconds, 0);
}

TEST_F(AdapterTest, ThatComesLaterIsVisibleForTheRest) {
  begin();
  m_bluetooth.makeVisible(600);
  ASSERT_TRUE(runUntil([this] { return m_bluetooth.state().visibleProblem != ""; }));
  m_bluez.addAdapter(kOff);
  EXPECT_TRUE(becomesVisible());
  EXPECT_EQ(m_bluetooth.state().visibleProblem, "");
}

TEST_F(AdapterTest, ThatCannotBeMadeVisibleIsToldWithTheReason) {
  begin();
  m_bluez.tell("fail Set org.bluez.Error.NotReady");
  m_bluez.addAdapter();
  m_bluetooth.makeVisible(host::AdapterCare::kForEver);
  ASSERT_TRUE(runUntil([this] {
    return m_bluetooth.state().visibleProblem.find("can't be made visible") != std::string::npos;
  }));
  EXPECT_EQ(m_bluetooth.state().visibleSeconds, host::AdapterCare::kForEver);
}

TEST_F(AdapterTest, WhatIsOfOddTypesSwitchesNothing) {
  begin();
  m_bluetooth.listening(4);
  m_bluez.addAdapter("'Powered': <'yes'>, 'Discoverable': <[1, 2]>");
  EXPECT_TRUE(becomesPowered());
  EXPECT_FALSE(m_bluetooth.state().discoverable);
}
