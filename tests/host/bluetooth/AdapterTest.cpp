#include <gmock/gmock.h>

#include <algorithm>

#include "host/bluetooth/Bluetooth.h"
#include "tests/host/bluetooth/BluezFixture.h"

namespace {

using testing::HasSubstr;

constexpr const char* kOff = "'Powered': <false>, 'Discoverable': <false>";

class AdapterTest : public test::BluezFixture {
 protected:
  static constexpr std::chrono::seconds kLongestPause{4};

  void begin() {
    m_bluez.start();
    m_bluetooth.start();
  }
  void beginReceiving() {
    begin();
    m_bluetooth.listening(4);
  }
  int attempts() const {
    return m_bluez.times("Set /org/bluez/hci0 ('org.bluez.Adapter1', 'Powered'");
  }
  bool attemptedAgain(int before) {
    return runUntil([=, this] { return attempts() > before; });
  }
  /// The stand-in has received every call made so far.
  void settle() {
    const char* const kHide = "Set /org/bluez/hci0 ('org.bluez.Adapter1', 'Discoverable', <false>)";
    const int before = m_bluez.times(kHide);
    m_bluetooth.makeVisible(0);
    ASSERT_TRUE(runUntil([&] { return m_bluez.times(kHide) > before; }));
  }
  long complaints() const {
    const auto texts = m_log.texts(kLogError);
    return std::count_if(texts.begin(), texts.end(), [](const std::string& text) {
      return text.starts_with("the adapter can't");
    });
  }
  bool problemBecomes(const std::string& part) {
    return runUntil(
        [&] { return m_bluetooth.state().visibleProblem.find(part) != std::string::npos; });
  }
  bool becomesPowered(bool powered = true) {
    return runUntil([=, this] { return m_bluetooth.state().powered == powered; });
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

TEST_F(AdapterTest, IsSwitchedOnWhenItAppearsWhileReceiving) {
  beginReceiving();
  m_bluez.addAdapter(kOff);
  EXPECT_TRUE(becomesPowered());
}

TEST_F(AdapterTest, StaysOffWhenTheUserSwitchesItOff) {
  beginReceiving();
  m_bluez.addAdapter(kOff);
  ASSERT_TRUE(becomesPowered());
  m_bluez.changeAdapter("'Powered': <false>");
  ASSERT_TRUE(becomesPowered(false));
  settle();
  EXPECT_EQ(attempts(), 1);
}

TEST_F(AdapterTest, IsSwitchedOnToBecomeVisibleEvenIfTheUserSwitchedItOff) {
  beginReceiving();
  m_bluez.addAdapter(kOff);
  ASSERT_TRUE(becomesPowered());
  m_bluez.changeAdapter("'Powered': <false>");
  ASSERT_TRUE(becomesPowered(false));
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

TEST_F(AdapterTest, BecomesVisibleWhenItAppearsLater) {
  begin();
  m_bluetooth.makeVisible(600);
  ASSERT_TRUE(runUntil([this] { return m_bluetooth.state().visibleProblem != ""; }));
  m_bluez.addAdapter(kOff);
  EXPECT_TRUE(becomesVisible());
  EXPECT_EQ(m_bluetooth.state().visibleProblem, "");
}

TEST_F(AdapterTest, ReportsWhyItIsNotVisible) {
  begin();
  m_bluez.tell("fail Set org.bluez.Error.NotPermitted");
  m_bluez.addAdapter();
  m_bluetooth.makeVisible(host::AdapterManager::kForEver);
  ASSERT_TRUE(problemBecomes("can't be made visible: as the test wants"));
  EXPECT_EQ(m_bluetooth.state().visibleSeconds, host::AdapterManager::kForEver);
}

TEST_F(AdapterTest, CountsAsOffWhenItsPropertiesHaveOddTypes) {
  beginReceiving();
  m_bluez.addAdapter("'Powered': <'yes'>, 'Discoverable': <[1, 2]>");
  EXPECT_TRUE(becomesPowered());
  EXPECT_FALSE(m_bluetooth.state().discoverable);
}

TEST_F(AdapterTest, IsTriedAgainWhileBusy) {
  beginReceiving();
  m_bluez.tell("refuse Powered org.bluez.Error.Busy 2");
  m_bluez.addAdapter(kOff);
  EXPECT_TRUE(becomesPowered());
  EXPECT_EQ(attempts(), 3);
  EXPECT_EQ(complaints(), 0);
}

TEST_F(AdapterTest, IsTriedAgainWhileInProgressOrNotReady) {
  begin();
  m_bluez.tell("refuse Powered org.bluez.Error.InProgress 1");
  m_bluez.tell("refuse Discoverable org.bluez.Error.NotReady 1");
  m_bluez.addAdapter(kOff);
  m_bluetooth.makeVisible(600);
  EXPECT_TRUE(becomesVisible());
  EXPECT_EQ(complaints(), 0);
}

TEST_F(AdapterTest, IsTriedAgainWhileTheKernelIsBusy) {
  beginReceiving();
  m_bluez.tell("refuse Powered org.bluez.Error.Failed 1 Busy");
  m_bluez.addAdapter(kOff);
  EXPECT_TRUE(becomesPowered());
}

TEST_F(AdapterTest, IsSwitchedOnAfterBluezRestartsBusy) {
  beginReceiving();
  m_bluez.addAdapter(kOff);
  ASSERT_TRUE(becomesPowered());
  m_bluez.kill();
  ASSERT_TRUE(runUntil([this] { return m_bluetooth.state().adapter.empty(); }));
  m_bluez.start();
  m_bluez.tell("refuse Powered org.bluez.Error.Busy 1");
  m_bluez.addAdapter(kOff);
  EXPECT_TRUE(becomesPowered());
}

TEST_F(AdapterTest, IsNotTriedAgainOnceItIsOn) {
  beginReceiving();
  m_bluez.tell("refuse Powered org.bluez.Error.Busy 1000");
  m_bluez.addAdapter(kOff);
  ASSERT_TRUE(attemptedAgain(0));
  m_bluez.changeAdapter("'Powered': <true>");
  ASSERT_TRUE(becomesPowered());
  settle();
  const int before = attempts();
  outlastTimers(kLongestPause);
  settle();
  EXPECT_EQ(attempts(), before);
  EXPECT_EQ(complaints(), 0);
}

TEST_F(AdapterTest, IsNotTriedAgainOnceReceivingIsOff) {
  beginReceiving();
  m_bluez.tell("refuse Powered org.bluez.Error.Busy 1000");
  m_bluez.addAdapter(kOff);
  ASSERT_TRUE(attemptedAgain(0));
  m_bluetooth.listening(0);
  ASSERT_TRUE(runUntil([this] { return m_bluetooth.state().record == "off"; }));
  settle();
  const int before = attempts();
  outlastTimers(kLongestPause);
  settle();
  EXPECT_EQ(attempts(), before);
}

TEST_F(AdapterTest, IsGivenUpWithOneLogLineWhenItStaysBusy) {
  begin();
  m_bluez.tell("refuse Powered org.bluez.Error.Busy 1000");
  m_bluez.addAdapter(kOff);
  const auto begun = std::chrono::steady_clock::now();
  m_bluetooth.makeVisible(600);
  ASSERT_TRUE(problemBecomes("the adapter can't be switched on: org.bluez.Error.Busy"));
  EXPECT_GE(std::chrono::steady_clock::now() - begun, std::chrono::seconds(9));
  const int before = attempts();
  outlastTimers(kLongestPause);
  settle();
  EXPECT_EQ(attempts(), before);
  EXPECT_EQ(complaints(), 1);
}

TEST_F(AdapterTest, IsNotTriedAgainWhenBlocked) {
  begin();
  m_bluez.tell("refuse Powered org.bluez.Error.Blocked 1000 Blocked through rfkill");
  m_bluez.addAdapter(kOff);
  m_bluetooth.makeVisible(600);
  ASSERT_TRUE(problemBecomes("the adapter can't be switched on: Blocked through rfkill"));
  EXPECT_EQ(attempts(), 1);
}

TEST_F(AdapterTest, HasNoProblemOnceTheUserSwitchesItOn) {
  begin();
  m_bluez.tell("refuse Powered org.bluez.Error.Blocked 1000 Blocked through rfkill");
  m_bluez.addAdapter(kOff);
  m_bluetooth.makeVisible(600);
  ASSERT_TRUE(problemBecomes("Blocked through rfkill"));
  m_bluez.tell("hold Set");
  m_bluez.changeAdapter("'Powered': <true>");
  EXPECT_TRUE(runUntil([this] { return m_bluetooth.state().visibleProblem.empty(); }));
  m_bluez.tell("work Set");
  EXPECT_TRUE(becomesVisible());
}

TEST_F(AdapterTest, IsVisibleAgainAfterItWasOff) {
  begin();
  m_bluez.addAdapter();
  m_bluetooth.makeVisible(600);
  ASSERT_TRUE(becomesVisible());
  m_bluez.changeAdapter("'Powered': <false>, 'Discoverable': <false>");
  ASSERT_TRUE(becomesVisible(false));
  m_bluez.changeAdapter("'Powered': <true>");
  EXPECT_TRUE(becomesVisible());
}

TEST_F(AdapterTest, IsHiddenEvenIfBusyAtFirst) {
  begin();
  m_bluez.addAdapter();
  m_bluetooth.makeVisible(600);
  ASSERT_TRUE(becomesVisible());
  m_bluez.tell("refuse Discoverable org.bluez.Error.Busy 1");
  m_bluetooth.makeVisible(0);
  EXPECT_TRUE(becomesVisible(false));
}
