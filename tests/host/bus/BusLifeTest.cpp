#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>

#include "tests/host/support/HostFixture.h"
#include "tests/support/WaitFor.h"

namespace {

using test::BusClient;
using testing::HasSubstr;

constexpr const char* kName = "org.obexphone.Phone";

/// The bus goes, comes back, or has the name taken.
class BusLifeTest : public test::HostFixture {
 protected:
  static void subscribe(BusClient& observer) {
    EXPECT_EQ(observer.call("subscribeEvent").values, "({'done': <true>},)");
  }
  void restartBus() {
    bus().kill();
    ASSERT_TRUE(host().waitForErr("was lost"));
    ASSERT_TRUE(bus().start());
  }
  /// Whoever asks the bus for the telephone's name, as busctl does it.
  test::Finished takeName(BusClient& taker) {
    const auto answer = taker.callBus("RequestName", "('org.obexphone.Phone', uint32 4)");
    return {answer.error.empty() ? 0 : 1, answer.values, answer.sentence};
  }
};

TEST_F(BusLifeTest, aTakenNameEndsTheStartWithASentence) {
  startHost();
  const auto second = launchHost();
  EXPECT_EQ(second->wait(), 1);
  EXPECT_THAT(second->err(),
              HasSubstr("phone-host: the name org.obexphone.Phone on the bus at unix:path="));
  EXPECT_THAT(second->err(), HasSubstr("is taken already, by process " +
                                       std::to_string(host().pid()) + ": another phone-host"));
  EXPECT_EQ(second->out(), "");
  EXPECT_EQ(client().call("sayEvent", "({'n': <1>},)").values, "({'n': <1>},)");
}

TEST_F(BusLifeTest, aLostBusIsFoundAgain) {
  startHost();
  restartBus();
  ASSERT_TRUE(host().waitForOut("phone-host: ready", 2)) << host().err();
  const auto after = newClient();
  EXPECT_EQ(after->call("sayEvent", "({'n': <1>},)").values, "({'n': <1>},)");
  EXPECT_EQ(after->status("service"), "'EchoService'");
  EXPECT_THAT(busctl({"introspect", kName, "/org/obexphone/EchoService"}).out,
              HasSubstr(".sayEvent"));
}

TEST_F(BusLifeTest, itStaysUpWithoutABusForAsLongAsThatTakes) {
  startHost();
  bus().kill();
  EXPECT_TRUE(host().waitForErr("no bus yet", 3));
  EXPECT_TRUE(host().running());
  ASSERT_TRUE(bus().start());
  EXPECT_TRUE(host().waitForOut("phone-host: ready", 2));
}

TEST_F(BusLifeTest, observersOfALostBusAreForgotten) {
  startHost();
  subscribe(client());
  subscribe(client());
  restartBus();
  ASSERT_TRUE(host().waitForOut("phone-host: ready", 2));
  const auto after = newClient();
  EXPECT_TRUE(test::waitFor([&] { return after->status("observers") == "0"; }));
  subscribe(*after);
  after->call("tellEvent", "({'text': <'x'>, 'count': <1>},)");
  EXPECT_TRUE(after->waitUntilHeard(1));
  EXPECT_EQ(after->heard().size(), 1U);
}

TEST_F(BusLifeTest, aMessageUnderWayOutlivesItsBus) {
  startHost();
  subscribe(client());
  block();
  restartBus();
  ASSERT_TRUE(host().waitForOut("phone-host: ready", 2));
  const auto after = newClient();
  EXPECT_EQ(after->status("busyWith"), "'waitEvent'");
  release();
  EXPECT_EQ(after->call("sayEvent", "({'n': <1>},)").values, "({'n': <1>},)");
  EXPECT_TRUE(test::waitFor([&] { return after->status("observers") == "0"; }));
}

TEST_F(BusLifeTest, theServicesThreadMayTellWhileTheBusGoes) {
  startHost();
  subscribe(client());
  client().call("tellLaterEvent", "({'text': <'x'>, 'count': <30000>},)");
  ASSERT_TRUE(client().waitUntilHeard(1));
  restartBus();
  EXPECT_TRUE(host().waitForOut("phone-host: ready", 2));
}

TEST_F(BusLifeTest, itWaitsForANameThatAnotherTookMeanwhile) {
  startHost();
  bus().kill();
  ASSERT_TRUE(host().waitForErr("was lost"));
  host().signal(SIGSTOP);
  ASSERT_TRUE(bus().start());
  auto taker = newClient();
  EXPECT_EQ(takeName(*taker).out, "(uint32 1,)");
  host().signal(SIGCONT);
  EXPECT_TRUE(host().waitForErr("is taken already"));
  taker.reset();
  EXPECT_TRUE(host().waitForOut("phone-host: ready", 2));
}

TEST_F(BusLifeTest, itStopsWellWithoutABus) {
  startHost();
  bus().kill();
  ASSERT_TRUE(host().waitForErr("was lost"));
  stopHost();
}

TEST_F(BusLifeTest, aBusThatIsNotThereEndsTheStart) {
  startBus();
  bus().kill();
  const auto host = launchHost();
  EXPECT_EQ(host->wait(), 1);
  EXPECT_THAT(host->err(), HasSubstr("phone-host: can't reach the bus at unix:path="));
}

}  // namespace
