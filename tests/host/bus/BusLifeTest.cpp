#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>

#include "tests/host/support/HostFixture.h"
#include "tests/support/WaitFor.h"

namespace {

using test::BusClient;
using testing::HasSubstr;

/// The bus daemon ends and comes back, or another program owns the name.
class BusLifeTest : public test::HostFixture {
 protected:
  explicit BusLifeTest(const std::string& service = "OBEXService") : HostFixture(service) {}

  void restartBus() {
    bus().kill();
    ASSERT_TRUE(host().waitForErr("lost the connection to"));
    ASSERT_TRUE(bus().start());
  }
  bool readyAgain() { return host().waitForOut("phone-host: ready", 2); }
};

TEST_F(BusLifeTest, RefusesToStartWhenTheNameIsTaken) {
  startHost();
  const auto second = launchHost();
  EXPECT_EQ(second->wait(), 1);
  EXPECT_EQ(second->err(),
            "phone-host: another phone-host owns the name org.obexphone.Phone on the bus at " +
                bus().address() + ": process " + std::to_string(host().pid()) + "\n");
  EXPECT_EQ(second->out(), "");
  EXPECT_EQ(client().call("vCardsRejectedEvent").error, "");
}

TEST_F(BusLifeTest, ReconnectsWhenTheBusIsBack) {
  startHost();
  restartBus();
  ASSERT_TRUE(readyAgain()) << host().err();
  const auto after = newClient();
  EXPECT_EQ(after->call("vCardsRejectedEvent").error, "");
  EXPECT_EQ(after->status("service"), "'OBEXService'");
  EXPECT_THAT(busctl({"introspect", "org.obexphone.Phone", "/org/obexphone/OBEXService"}).out,
              HasSubstr(".subscribeEvent"));
}

TEST_F(BusLifeTest, KeepsTryingWhileThereIsNoBus) {
  startHost();
  bus().kill();
  EXPECT_TRUE(host().waitForErr("can't reconnect yet", 3));
  EXPECT_TRUE(host().running());
  ASSERT_TRUE(bus().start());
  EXPECT_TRUE(readyAgain());
}

TEST_F(BusLifeTest, ForgetsTheObserversOfALostBus) {
  startHost();
  client().call("subscribeEvent");
  client().call("subscribeEvent");
  restartBus();
  ASSERT_TRUE(readyAgain());
  const auto after = newClient();
  EXPECT_TRUE(test::waitFor([&] { return after->status("observers") == "0"; }));
  after->call("subscribeEvent");
  after->call("vCardSendContactEvent");
  EXPECT_TRUE(after->waitUntilHeard(1));
  EXPECT_EQ(after->heard().size(), 1U);
}

TEST_F(BusLifeTest, RetriesWhileAnotherProgramOwnsTheName) {
  startHost();
  bus().kill();
  ASSERT_TRUE(host().waitForErr("lost the connection to"));
  host().signal(SIGSTOP);
  ASSERT_TRUE(bus().start());
  auto taker = newClient();
  EXPECT_EQ(taker->callBus("RequestName", "('org.obexphone.Phone', uint32 4)").values,
            "(uint32 1,)");
  host().signal(SIGCONT);
  EXPECT_TRUE(host().waitForErr("another phone-host owns the name"));
  taker.reset();
  EXPECT_TRUE(readyAgain());
}

TEST_F(BusLifeTest, StopsWithoutABus) {
  startHost();
  bus().kill();
  ASSERT_TRUE(host().waitForErr("lost the connection to"));
  stopHost();
}

TEST_F(BusLifeTest, RefusesToStartWithoutABus) {
  startBus();
  bus().kill();
  const auto host = launchHost();
  EXPECT_EQ(host->wait(), 1);
  EXPECT_THAT(host->err(), HasSubstr("phone-host: can't reach the bus at unix:path="));
}

/// The same with a service that is busy meanwhile.
class FakeBusLifeTest : public BusLifeTest {
 protected:
  FakeBusLifeTest() : BusLifeTest("FakeService") {}
};

TEST_F(FakeBusLifeTest, FinishesAMessageOfALostBus) {
  startHost();
  client().call("subscribeEvent");
  block();
  restartBus();
  ASSERT_TRUE(readyAgain());
  const auto after = newClient();
  EXPECT_EQ(after->status("busyWith"), "'waitEvent'");
  release();
  EXPECT_EQ(after->call("sayEvent", "({'n': <1>},)").values, "({'n': <1>},)");
  EXPECT_TRUE(test::waitFor([&] { return after->status("observers") == "0"; }));
}

TEST_F(FakeBusLifeTest, ReconnectsDuringNotifications) {
  startHost();
  client().call("subscribeEvent");
  client().call("tellLaterEvent", "({'text': <'x'>, 'count': <30000>},)");
  ASSERT_TRUE(client().waitUntilHeard(1));
  restartBus();
  EXPECT_TRUE(readyAgain());
}

}  // namespace
