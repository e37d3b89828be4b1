#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/support/HostFixture.h"
#include "tests/host/support/MuteClient.h"
#include "tests/support/WaitFor.h"

namespace {

using test::BusClient;
using testing::HasSubstr;
using testing::Not;

/// Processes that subscribe, hear and leave.
class ObserverTest : public test::HostFixture {
 protected:
  void SetUp() override { startHost(); }

  static void subscribe(BusClient& observer) {
    EXPECT_EQ(observer.call("subscribeEvent").values, "({'done': <true>},)");
  }
  void tell(const std::string& text, int count = 1) {
    EXPECT_EQ(client().call("tellEvent", arguments(text, count)).error, "");
  }
  static std::string arguments(const std::string& text, int count) {
    return "({'text': <'" + text + "'>, 'count': <" + std::to_string(count) + ">},)";
  }
  void tellLarge(std::size_t size) {
    GVariantBuilder builder;
    g_variant_builder_init(&builder, G_VARIANT_TYPE_VARDICT);
    const std::string text(size, 'x');
    g_variant_builder_add(&builder, "{sv}", "text", g_variant_new_string(text.c_str()));
    g_variant_builder_add(&builder, "{sv}", "count", g_variant_new_int32(1));
    EXPECT_EQ(client().call("tellEvent", g_variant_new("(a{sv})", &builder)).error, "");
  }
  bool observersBecome(const std::string& count) {
    return test::waitFor([&] { return client().status("observers") == count; });
  }
};

TEST_F(ObserverTest, hearsOnItsOwnConnectionAndOwesNoAnswer) {
  subscribe(client());
  tell("hello");
  ASSERT_TRUE(client().waitUntilHeard(1));
  const BusClient::Notification heard = client().heard().front();
  EXPECT_EQ(heard.object, "/org/obexphone/EchoServiceObserver");
  EXPECT_EQ(heard.interface, "org.obexphone.EchoServiceObserverIfc");
  EXPECT_EQ(heard.member, "toldEvent");
  EXPECT_EQ(heard.values, "({'text': <'hello'>, 'number': <0>},)");
  EXPECT_FALSE(heard.wantsAnswer);
}

TEST_F(ObserverTest, hearsInTheOrderOfTelling) {
  subscribe(client());
  tell("x", 1000);
  ASSERT_TRUE(client().waitUntilHeard(1000));
  const auto heard = client().heard();
  for (int i = 0; i < 1000; ++i)
    ASSERT_THAT(heard[static_cast<std::size_t>(i)].values,
                HasSubstr("'number': <" + std::to_string(i) + ">"));
}

TEST_F(ObserverTest, bytesArriveAsBytes) {
  subscribe(client());
  client().call("tellEvent", "({'text': <[byte 0x00, 0xe9]>, 'count': <1>},)");
  ASSERT_TRUE(client().waitUntilHeard(1));
  EXPECT_THAT(client().heard().front().values, HasSubstr("'text': <[byte 0x00, 0xe9]>"));
}

TEST_F(ObserverTest, hearsTwiceWhenSubscribedTwice) {
  subscribe(client());
  subscribe(client());
  EXPECT_EQ(client().status("observers"), "1");
  tell("x");
  EXPECT_TRUE(client().waitUntilHeard(2));
  client().call("unsubscribeEvent");
  tell("y");
  EXPECT_TRUE(client().waitUntilHeard(3));
  EXPECT_EQ(client().heard().size(), 3U);
}

TEST_F(ObserverTest, hearsNothingMoreAfterUnsubscribing) {
  subscribe(client());
  EXPECT_EQ(client().call("unsubscribeEvent").values, "({'done': <true>},)");
  EXPECT_EQ(client().call("unsubscribeEvent").values, "({'done': <false>},)");
  tell("x");
  EXPECT_TRUE(client().heard().empty());
}

TEST_F(ObserverTest, everyObserverHears) {
  const auto first = newClient();
  const auto second = newClient();
  subscribe(*first);
  subscribe(*second);
  EXPECT_EQ(client().status("observers"), "2");
  tell("x");
  EXPECT_TRUE(first->waitUntilHeard(1));
  EXPECT_TRUE(second->waitUntilHeard(1));
}

TEST_F(ObserverTest, hearsTheServicesOwnThreadWhileTheFrameworkThreadIsBusy) {
  subscribe(client());
  client().call("tellLaterEvent", arguments("later", 500));
  block();
  ASSERT_TRUE(client().waitUntilHeard(500));
  EXPECT_THAT(client().heard().back().values, HasSubstr("'number': <499>"));
  release();
}

TEST_F(ObserverTest, oneThatLeavesWithoutUnsubscribingIsForgotten) {
  auto leaving = newClient();
  subscribe(*leaving);
  subscribe(*leaving);
  EXPECT_EQ(client().status("observers"), "1");
  leaving.reset();
  EXPECT_TRUE(observersBecome("0"));
  tell("into the void");
}

TEST_F(ObserverTest, oneThatUnsubscribedIsForgottenWhenItLeaves) {
  auto leaving = newClient();
  subscribe(*leaving);
  leaving->call("unsubscribeEvent");
  leaving.reset();
  EXPECT_TRUE(observersBecome("0"));
}

TEST_F(ObserverTest, oneThatIsGoneBeforeItsSubscriptionIsServedIsForgotten) {
  block();
  auto leaving = newClient();
  leaving->send("subscribeEvent");
  ASSERT_TRUE(test::waitFor([&] { return client().status("queued") == "1"; }));
  leaving.reset();
  release();
  tell("after it was served");
  EXPECT_TRUE(observersBecome("0"));
}

TEST_F(ObserverTest, oneThatLeavesWhileTheServiceTellsIsForgotten) {
  auto leaving = newClient();
  subscribe(*leaving);
  client().call("tellLaterEvent", arguments("x", 20000));
  ASSERT_TRUE(leaving->waitUntilHeard(1));
  leaving.reset();
  EXPECT_TRUE(observersBecome("0"));
}

TEST_F(ObserverTest, aServiceThatClingsToAProxyKeepsIt) {
  auto leaving = newClient();
  subscribe(*leaving);
  client().call("clingEvent");
  leaving.reset();
  EXPECT_TRUE(host().waitForErr("the service still holds the proxy of"));
  EXPECT_TRUE(observersBecome("0"));
  tell("to the one that has gone", 3);
}

TEST_F(ObserverTest, oneThatComesBackIsANewOne) {
  auto leaving = newClient();
  subscribe(*leaving);
  leaving.reset();
  ASSERT_TRUE(observersBecome("0"));
  const auto back = newClient();
  subscribe(*back);
  tell("again");
  EXPECT_TRUE(back->waitUntilHeard(1));
}

TEST_F(ObserverTest, oneTooManyIsRefused) {
  std::vector<std::unique_ptr<BusClient>> observers;
  for (int i = 0; i < 64; ++i) {
    observers.push_back(newClient());
    subscribe(*observers.back());
  }
  EXPECT_EQ(client().call("subscribeEvent").values, "({'done': <false>},)");
  EXPECT_TRUE(host().waitForErr("there are 64 already"));
  observers.pop_back();
  EXPECT_TRUE(observersBecome("63"));
  subscribe(client());
}

TEST_F(ObserverTest, hears25MegabytesAtOnce) {
  subscribe(client());
  tellLarge(25 << 20);
  ASSERT_TRUE(client().waitUntilHeard(1));
  EXPECT_GT(client().heard().front().values.size(), std::size_t{25} << 20);
}

/// On a bus that takes more than the telephone reckons with.
class LargeObserverTest : public ObserverTest {
 protected:
  void SetUp() override {
    startBus("", "<limit name=\"max_message_size\">134217728</limit>");
    startHost();
  }
};

TEST_F(LargeObserverTest, aNotificationThatAnotherBusWouldNotTakeIsDroppedWithALine) {
  subscribe(client());
  tellLarge(33 << 20);
  EXPECT_TRUE(host().waitForErr("was dropped: the bus takes no more than"));
  tell("small");
  ASSERT_TRUE(client().waitUntilHeard(1));
  EXPECT_THAT(client().heard().front().values, HasSubstr("small"));
}

TEST_F(ObserverTest, oneThatDoesNotReadLosesNotificationsAndNobodyElseDoes) {
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

TEST_F(ObserverTest, oneThatReadsSlowlyButReadsLosesNothing) {
  subscribe(client());
  for (int i = 0; i < 60; ++i) {
    tellLarge(1 << 20);
    ASSERT_TRUE(client().waitUntilHeard(static_cast<std::size_t>(i) + 1));
  }
  EXPECT_THAT(host().err(), Not(HasSubstr("dropped")));
}

}  // namespace
