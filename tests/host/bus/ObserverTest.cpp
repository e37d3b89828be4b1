#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/support/HostFixture.h"
#include "tests/host/support/MuteClient.h"
#include "tests/support/WaitFor.h"

namespace {

using test::BusClient;
using testing::HasSubstr;
using testing::Not;

/// Observers of the real service, which notifies them of a contact to be sent.
class ObserverTest : public test::HostFixture {
 protected:
  void SetUp() override { startHost(); }

  static void subscribe(BusClient& observer) {
    EXPECT_EQ(observer.call("subscribeEvent").values, "({'subscribeEventReturn': <true>},)");
  }
  static bool unsubscribe(BusClient& observer) {
    return observer.call("unsubscribeEvent").values == "({'unsubscribeEventReturn': <true>},)";
  }
  void tell(const std::string& name) {
    EXPECT_EQ(client().call("vCardSendContactEvent", "({'firstnameParam': <" + name + ">},)").error,
              "");
  }
  bool observersBecome(const std::string& count) {
    return test::waitFor([&] { return client().status("observers") == count; });
  }
};

TEST_F(ObserverTest, GetsCallsThatExpectNoReply) {
  subscribe(client());
  tell("'Anna'");
  ASSERT_TRUE(client().waitUntilHeard(1));
  const BusClient::Notification heard = client().heard().front();
  EXPECT_EQ(heard.object, "/org/obexphone/OBEXServiceObserver");
  EXPECT_EQ(heard.interface, "org.obexphone.OBEXServiceObserverIfc");
  EXPECT_EQ(heard.member, "vCardDestRequestEvent");
  EXPECT_EQ(heard.values, "({'infoParam': <'Anna'>},)");
  EXPECT_FALSE(heard.wantsAnswer);
}

TEST_F(ObserverTest, GetsNotificationsInOrder) {
  subscribe(client());
  for (int i = 0; i < 300; ++i) tell("'" + std::to_string(i) + "'");
  ASSERT_TRUE(client().waitUntilHeard(300));
  const auto heard = client().heard();
  for (int i = 0; i < 300; ++i)
    ASSERT_THAT(heard[static_cast<std::size_t>(i)].values,
                HasSubstr("<'" + std::to_string(i) + "'>"));
}

TEST_F(ObserverTest, GetsTextThatIsNotUtf8AsBytes) {
  subscribe(client());
  tell("[byte 0x41, 0xe9]");
  ASSERT_TRUE(client().waitUntilHeard(1));
  EXPECT_EQ(client().heard().front().values, "({'infoParam': <[byte 0x41, 0xe9]>},)");
}

TEST_F(ObserverTest, GetsEachNotificationTwiceAfterSubscribingTwice) {
  subscribe(client());
  subscribe(client());
  EXPECT_EQ(client().status("observers"), "1");
  tell("'x'");
  EXPECT_TRUE(client().waitUntilHeard(2));
  EXPECT_TRUE(unsubscribe(client()));
  tell("'y'");
  EXPECT_TRUE(client().waitUntilHeard(3));
  EXPECT_EQ(client().heard().size(), 3U);
}

TEST_F(ObserverTest, GetsNothingAfterUnsubscribing) {
  subscribe(client());
  EXPECT_TRUE(unsubscribe(client()));
  EXPECT_FALSE(unsubscribe(client()));
  tell("'x'");
  EXPECT_TRUE(client().heard().empty());
}

TEST_F(ObserverTest, SharesNotificationsWithTheOthers) {
  const auto first = newClient();
  const auto second = newClient();
  subscribe(*first);
  subscribe(*second);
  EXPECT_EQ(client().status("observers"), "2");
  tell("'x'");
  EXPECT_TRUE(first->waitUntilHeard(1));
  EXPECT_TRUE(second->waitUntilHeard(1));
}

TEST_F(ObserverTest, IsForgottenWhenItLeavesTheBus) {
  auto leaving = newClient();
  subscribe(*leaving);
  subscribe(*leaving);
  EXPECT_EQ(client().status("observers"), "1");
  leaving.reset();
  EXPECT_TRUE(observersBecome("0"));
  tell("'x'");
}

TEST_F(ObserverTest, IsForgottenWhenItLeavesAfterUnsubscribing) {
  auto leaving = newClient();
  subscribe(*leaving);
  EXPECT_TRUE(unsubscribe(*leaving));
  leaving.reset();
  EXPECT_TRUE(observersBecome("0"));
}

TEST_F(ObserverTest, CanSubscribeAgainAfterReconnecting) {
  auto leaving = newClient();
  subscribe(*leaving);
  leaving.reset();
  ASSERT_TRUE(observersBecome("0"));
  const auto back = newClient();
  subscribe(*back);
  tell("'again'");
  EXPECT_TRUE(back->waitUntilHeard(1));
}

TEST_F(ObserverTest, TakesNoPlaceByUnsubscribingOnly) {
  EXPECT_FALSE(unsubscribe(client()));
  EXPECT_EQ(client().status("observers"), "0");
  subscribe(client());
  EXPECT_TRUE(unsubscribe(client()));
}

TEST_F(ObserverTest, IsRefusedWhenThereAreTooMany) {
  std::vector<std::unique_ptr<BusClient>> observers;
  for (int i = 0; i < 64; ++i) {
    observers.push_back(newClient());
    subscribe(*observers.back());
  }
  EXPECT_EQ(client().call("subscribeEvent").values, "({'subscribeEventReturn': <false>},)");
  EXPECT_TRUE(host().waitForErr("there are 64 already"));
  observers.pop_back();
  EXPECT_TRUE(observersBecome("63"));
  subscribe(client());
}

/// Observers of FakeService, which can send large notifications, use a thread of its own, block,
/// and refuse to unsubscribe.
class FakeObserverTest : public test::HostFixture {
 protected:
  FakeObserverTest() : HostFixture("FakeService") {}
  void SetUp() override { startHost(); }

  static void subscribe(BusClient& observer) {
    EXPECT_EQ(observer.call("subscribeEvent").values, "({'done': <true>},)");
  }
  static std::string arguments(const std::string& text, int count) {
    return "({'text': <'" + text + "'>, 'count': <" + std::to_string(count) + ">},)";
  }
  void tell(const std::string& text, int count = 1) {
    EXPECT_EQ(client().call("tellEvent", arguments(text, count)).error, "");
  }
  void tellLarge(std::size_t size) { tell(std::string(size, 'x')); }
  bool observersBecome(const std::string& count) {
    return test::waitFor([&] { return client().status("observers") == count; });
  }
};

TEST_F(FakeObserverTest, GetsNotificationsWhileTheServiceThreadIsBlocked) {
  subscribe(client());
  client().call("tellLaterEvent", arguments("later", 500));
  block();
  ASSERT_TRUE(client().waitUntilHeard(500));
  EXPECT_THAT(client().heard().back().values, HasSubstr("'number': <499>"));
  release();
}

TEST_F(FakeObserverTest, IsForgottenWhenItLeavesBeforeItsSubscriptionIsHandled) {
  block();
  auto leaving = newClient();
  leaving->send("subscribeEvent");
  ASSERT_TRUE(test::waitFor([&] { return client().status("queued") == "1"; }));
  leaving.reset();
  release();
  tell("x");
  EXPECT_TRUE(observersBecome("0"));
}

TEST_F(FakeObserverTest, IsForgottenWhenItLeavesDuringNotifications) {
  auto leaving = newClient();
  subscribe(*leaving);
  client().call("tellLaterEvent", arguments("x", 20000));
  ASSERT_TRUE(leaving->waitUntilHeard(1));
  leaving.reset();
  EXPECT_TRUE(observersBecome("0"));
}

TEST_F(FakeObserverTest, KeepsItsProxyWhileTheServiceUsesIt) {
  auto leaving = newClient();
  subscribe(*leaving);
  client().call("clingEvent");
  leaving.reset();
  EXPECT_TRUE(host().waitForErr("the service still uses the proxy of"));
  EXPECT_TRUE(observersBecome("0"));
  tell("x", 3);
}

TEST_F(FakeObserverTest, GetsANotificationOf25Megabytes) {
  subscribe(client());
  tellLarge(25 << 20);
  ASSERT_TRUE(client().waitUntilHeard(1));
  EXPECT_GT(client().heard().front().values.size(), std::size_t{25} << 20);
}

TEST_F(FakeObserverTest, LosesNotificationsAloneWhenItDoesNotRead) {
  test::MuteClient mute(bus().address());
  mute.subscribe();
  ASSERT_TRUE(observersBecome("1"));
  subscribe(client());
  for (int i = 0; i < 60; ++i) tellLarge(1 << 20);
  EXPECT_TRUE(client().waitUntilHeard(60));
  EXPECT_THAT(host().err(), HasSubstr("bytes unread"));
  const std::size_t arrived = mute.drain();
  EXPECT_GT(arrived, std::size_t{40} << 20);
  EXPECT_LT(arrived, std::size_t{50} << 20);
}

TEST_F(FakeObserverTest, LosesNothingWhenItReads) {
  subscribe(client());
  for (int i = 0; i < 60; ++i) {
    tellLarge(1 << 20);
    ASSERT_TRUE(client().waitUntilHeard(static_cast<std::size_t>(i) + 1));
  }
  EXPECT_THAT(host().err(), Not(HasSubstr("dropped")));
}

/// On a bus with a higher limit than the host's.
class LargeObserverTest : public FakeObserverTest {
 protected:
  void SetUp() override {
    startBus("", "<limit name=\"max_message_size\">134217728</limit>");
    startHost();
  }
};

TEST_F(LargeObserverTest, DoesNotGetANotificationAboveTheLimit) {
  subscribe(client());
  tellLarge(33 << 20);
  EXPECT_TRUE(host().waitForErr("the limit of the bus is"));
  tell("small");
  ASSERT_TRUE(client().waitUntilHeard(1));
  EXPECT_THAT(client().heard().front().values, HasSubstr("small"));
}

}  // namespace
