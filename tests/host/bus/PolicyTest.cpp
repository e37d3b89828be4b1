#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/support/HostFixture.h"

namespace {

using testing::HasSubstr;

/// The default policy of the system bus.
constexpr const char* kSystemBus =
    "<policy context=\"default\"><allow user=\"*\"/><deny own=\"*\"/>"
    "<deny send_type=\"method_call\"/><allow send_type=\"signal\"/>"
    "<allow send_requested_reply=\"true\" send_type=\"method_return\"/>"
    "<allow send_requested_reply=\"true\" send_type=\"error\"/>"
    "<allow receive_type=\"method_call\"/><allow receive_type=\"method_return\"/>"
    "<allow receive_type=\"error\"/><allow receive_type=\"signal\"/>"
    "<allow send_destination=\"org.freedesktop.DBus\"/></policy>";

constexpr const char* kCallers =
    "<policy context=\"default\"><allow own=\"org.obexphone.Phone\"/>"
    "<allow send_destination=\"org.obexphone.Phone\"/></policy>";

constexpr const char* kNotifications =
    "<policy context=\"default\">"
    "<allow send_interface=\"org.obexphone.FakeServiceObserverIfc\"/>"
    "<allow send_interface=\"org.freedesktop.DBus.Peer\" send_member=\"Ping\"/></policy>";

/// phone-host on a bus that forbids what isn't allowed.
class PolicyTest : public test::HostFixture {
 protected:
  PolicyTest() : HostFixture("FakeService") {}

  void startOn(const std::string& policy) {
    startBus(policy);
    startHost();
    EXPECT_EQ(client().call("subscribeEvent").values, "({'done': <true>},)");
    client().call("tellEvent", "({'text': <'x'>, 'count': <300>},)");
  }
};

TEST_F(PolicyTest, WorksOnASystemBusWithItsPolicy) {
  startOn(std::string(kSystemBus) + kCallers + kNotifications);
  EXPECT_TRUE(client().waitUntilHeard(300));
  EXPECT_EQ(host().err().find("not delivered"), std::string::npos);
}

TEST_F(PolicyTest, LogsNotificationsThatTheBusForbids) {
  startOn(std::string(kSystemBus) + kCallers);
  EXPECT_TRUE(host().waitForErr("a toldEvent to " + client().name() + " was not delivered: "));
  EXPECT_TRUE(client().heard().empty());
}

TEST_F(PolicyTest, RefusesToStartWhenTheBusForbidsTheName) {
  startBus(kSystemBus);
  const auto host = launchHost();
  EXPECT_EQ(host->wait(), 1);
  EXPECT_THAT(host->err(), HasSubstr("not allowed to own"));
}

}  // namespace
