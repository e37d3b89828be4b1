#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/support/HostFixture.h"
#include "tests/support/WaitFor.h"

namespace {

using test::BusClient;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr const char* kService = "/org/obexphone/EchoService";
constexpr const char* kServiceInterface = "org.obexphone.EchoServiceIfc";

/// Calls to the service over the bus.
class CallTest : public test::HostFixture {
 protected:
  void SetUp() override { startHost(); }

  void expectEcho(const std::string& arguments) {
    EXPECT_EQ(client().call("sayEvent", arguments).values, arguments);
  }
  std::string errorOf(const std::string& member, const std::string& arguments) {
    return client().call(member, arguments).error;
  }
  test::Finished say(const test::Program::Words& arguments) {
    test::Program::Words words{"call", "org.obexphone.Phone", kService, kServiceInterface,
                               "sayEvent"};
    words.insert(words.end(), arguments.begin(), arguments.end());
    return busctl(words);
  }
};

TEST_F(CallTest, everyTypeOfArgumentGoesThereAndBack) {
  expectEcho("({'flag': <true>, 'number': <-42>, 'text': <'h\xc3\xa9llo'>},)");
}

TEST_F(CallTest, aProgramOfOthersIsAClient) {
  const auto answer = say({"a{sv}", "2", "text", "s", "hello", "number", "i", "7"});
  EXPECT_EQ(answer.exitCode, 0) << answer.err;
  EXPECT_EQ(answer.out, "a{sv} 2 \"text\" s \"hello\" \"number\" i 7\n");
}

TEST_F(CallTest, bytesGoThereAndBackAsBytes) {
  expectEcho("({'text': <[byte 0xff, 0x41]>},)");
  expectEcho("({'text': <[byte 0x61, 0x00, 0x62]>},)");
}

TEST_F(CallTest, bytesThatAreTextComeBackAsText) {
  EXPECT_EQ(client().call("sayEvent", "({'text': <[byte 0x68, 0x69]>},)").values,
            "({'text': <'hi'>},)");
}

TEST_F(CallTest, quotesControlCharactersAndForeignScriptsStayWhatTheyAre) {
  expectEcho("({'text': <'\"\\\\ \\n\\t\\u0001 \xe2\x82\xac \xf0\x9f\x98\x80'>},)");
}

TEST_F(CallTest, aCallWithoutAnAnswerReturnsNothingWhenItIsDone) {
  const BusClient::Answer answer = client().call("tellEvent", "({'text': <'x'>},)");
  EXPECT_TRUE(answer.came);
  EXPECT_EQ(answer.error, "");
  EXPECT_EQ(answer.values, "");
}

TEST_F(CallTest, aCallReturnsOnlyWhenTheServiceIsDoneWithIt) {
  const auto waiting = block();
  EXPECT_FALSE(client().answered(waiting));
  release();
  EXPECT_EQ(client().wait(waiting).error, "");
}

TEST_F(CallTest, callsAreServedOneAfterTheOtherInOrder) {
  const auto waiting = block();
  const auto first = client().send("sayEvent", "({'n': <1>},)");
  const auto second = client().send("sayEvent", "({'n': <2>},)");
  EXPECT_TRUE(test::waitFor([&] { return client().status("queued") == "2"; }));
  EXPECT_FALSE(client().answered(first));
  release();
  EXPECT_EQ(client().wait(second).values, "({'n': <2>},)");
  EXPECT_TRUE(client().answered(first));
  EXPECT_TRUE(client().answered(waiting));
}

TEST_F(CallTest, aMessageThatTheServiceDoesNotKnowIsUnknown) {
  const BusClient::Answer answer = client().call("sayevent", "(@a{sv} {},)");
  EXPECT_EQ(answer.error, "org.freedesktop.DBus.Error.UnknownMethod");
  EXPECT_EQ(answer.sentence, "the service has no message \"sayevent\"");
}

TEST_F(CallTest, aBodyOfAnotherShapeIsRefused) {
  for (const char* body : {"('x',)", "(1, 2)", "(@a{sv} {}, 'more')", "({'a': 'b'},)"})
    EXPECT_EQ(errorOf("sayEvent", body), "org.freedesktop.DBus.Error.InvalidArgs") << body;
  EXPECT_EQ(client().callObject(kService, kServiceInterface, "sayEvent", "").error,
            "org.freedesktop.DBus.Error.InvalidArgs");
}

TEST_F(CallTest, aValueOfAnotherTypeIsRefusedByItsName) {
  const BusClient::Answer answer = client().call("sayEvent", "({'speed': <1.5>},)");
  EXPECT_EQ(answer.error, "org.freedesktop.DBus.Error.InvalidArgs");
  EXPECT_THAT(answer.sentence, AllOf(HasSubstr("speed"), HasSubstr("type d")));
}

TEST_F(CallTest, aRefusedBodyDoesNotReachTheService) {
  client().call("subscribeEvent");
  client().call("tellEvent", "({'text': <'x'>, 'count': <uint32 1>},)");
  client().call("tellEvent", "({'text': <'good'>, 'count': <1>},)");
  ASSERT_TRUE(client().waitUntilHeard(1));
  EXPECT_THAT(client().heard().front().values, HasSubstr("good"));
}

TEST_F(CallTest, anAnswerThatIsNoMessageIsAnError) {
  const BusClient::Answer answer = client().call("babbleEvent", "({'bytes': <'{{{'>},)");
  EXPECT_EQ(answer.error, "org.freedesktop.DBus.Error.Failed");
  EXPECT_THAT(answer.sentence, HasSubstr("the service's answer can't be read"));
}

TEST_F(CallTest, aSecondAnswerIsDropped) {
  EXPECT_EQ(client().call("repeatEvent", "({'n': <1>},)").values, "({'n': <1>},)");
  EXPECT_TRUE(host().waitForErr("it has one already"));
}

TEST_F(CallTest, aServiceThatFailsIsSurvived) {
  const BusClient::Answer answer = client().call("failEvent");
  EXPECT_EQ(answer.error, "org.freedesktop.DBus.Error.Failed");
  EXPECT_THAT(answer.sentence, HasSubstr("the echo is broken"));
  expectEcho("({'n': <1>},)");
}

TEST_F(CallTest, whoWantsNoAnswerGetsNone) {
  const auto unknown = client().tell("nonsense", "(@a{sv} {},)");
  const auto wrong = client().tell("sayEvent", "('x',)");
  const auto good = client().tell("sayEvent", "(@a{sv} {},)");
  expectEcho("({'n': <1>},)");
  EXPECT_FALSE(client().answered(unknown));
  EXPECT_FALSE(client().answered(wrong));
  EXPECT_FALSE(client().answered(good));
}

TEST_F(CallTest, theInterfaceMayBeLeftOut) {
  EXPECT_EQ(client().callObject(kService, "", "sayEvent", "({'n': <1>},)").values, "({'n': <1>},)");
  EXPECT_EQ(client().callObject(kService, "", "nonsense", "(@a{sv} {},)").error,
            "org.freedesktop.DBus.Error.UnknownMethod");
}

TEST_F(CallTest, theStandardInterfacesMayBeLeftOutToo) {
  EXPECT_THAT(client().callObject(kService, "", "Introspect", "").values, HasSubstr("sayEvent"));
  EXPECT_EQ(client().callObject(kService, "", "Ping", "").error, "");
}

TEST_F(CallTest, anotherInterfaceOfTheObjectIsUnknown) {
  EXPECT_THAT(client().callObject(kService, "org.example.Other", "sayEvent", "").error,
              StartsWith("org.freedesktop.DBus.Error.Unknown"));
}

TEST_F(CallTest, theInterfaceOnAnotherObjectIsUnknown) {
  for (const char* object : {"/", "/org/obexphone", "/org/obexphone/Nothing"})
    EXPECT_THAT(client().callObject(object, kServiceInterface, "sayEvent", "(@a{sv} {},)").error,
                StartsWith("org.freedesktop.DBus.Error.Unknown"))
        << object;
}

TEST_F(CallTest, peerAndPropertiesAreAnswered) {
  EXPECT_EQ(client().callObject(kService, "org.freedesktop.DBus.Peer", "Ping", "").error, "");
  EXPECT_THAT(client().callObject(kService, "org.freedesktop.DBus.Peer", "GetMachineId", "").values,
              Not(""));
  EXPECT_EQ(client()
                .callObject(kService, "org.freedesktop.DBus.Properties", "GetAll",
                            "('org.obexphone.EchoServiceIfc',)")
                .values,
            "(@a{sv} {},)");
}

TEST_F(CallTest, introspectionIsWhatStandsBesideThePlugin) {
  const auto answer =
      client().callObject(kService, "org.freedesktop.DBus.Introspectable", "Introspect", "");
  for (const char* member : {"sayEvent", "subscribeEvent", "clingEvent", kServiceInterface})
    EXPECT_THAT(answer.values, HasSubstr(member));
  const auto listed = busctl({"introspect", "org.obexphone.Phone", kService});
  EXPECT_THAT(listed.out, HasSubstr(".sayEvent"));
}

TEST_F(CallTest, theTelephonesObjectsAreFoundByLooking) {
  const auto tree = busctl({"tree", "--list", "org.obexphone.Phone"});
  for (const char* object : {kService, "/org/obexphone/DirectoryService", "/org/obexphone/Phone"})
    EXPECT_THAT(tree.out, HasSubstr(object));
}

TEST_F(CallTest, aBusyTelephoneRefusesWhatIsTooMuch) {
  const auto waiting = block();
  std::vector<std::uint32_t> sent;
  for (int i = 0; i < 64; ++i) sent.push_back(client().send("sayEvent"));
  const BusClient::Answer refused = client().call("sayEvent");
  EXPECT_EQ(refused.error, "org.freedesktop.DBus.Error.LimitsExceeded");
  EXPECT_EQ(refused.sentence, "too many messages wait for the telephone already; try again later");
  EXPECT_EQ(client().status("queued"), "64");
  release();
  EXPECT_EQ(client().wait(waiting).error, "");
  for (const auto serial : sent) EXPECT_EQ(client().wait(serial).error, "");
}

TEST_F(CallTest, aBusyTelephoneStillAnswersWhatIsNotForTheService) {
  block();
  EXPECT_EQ(client().status("busyWith"), "'waitEvent'");
  EXPECT_THAT(
      client().callObject(kService, "org.freedesktop.DBus.Introspectable", "Introspect", "").values,
      HasSubstr("sayEvent"));
  EXPECT_EQ(client()
                .callObject("/org/obexphone/DirectoryService", "org.obexphone.DirectoryServiceIfc",
                            "handleRequest", "(b'nonsense',)")
                .error,
            "");
  release();
}

TEST_F(CallTest, aMessageOf25MegabytesGoesThereAndBack) {
  const std::string text(25 << 20, 'x');
  GVariantBuilder builder;
  g_variant_builder_init(&builder, G_VARIANT_TYPE_VARDICT);
  g_variant_builder_add(&builder, "{sv}", "text", g_variant_new_string(text.c_str()));
  const auto answer = client().call("sayEvent", g_variant_new("(a{sv})", &builder));
  EXPECT_EQ(answer.error, "");
  EXPECT_EQ(answer.values.size(), text.size() + std::string("({'text': <''>},)").size());
}

/// On a bus that takes more than the telephone reckons with.
class LargeCallTest : public CallTest {
 protected:
  void SetUp() override {
    startBus("", "<limit name=\"max_message_size\">134217728</limit>");
    startHost();
  }
};

TEST_F(LargeCallTest, anAnswerThatAnotherBusWouldNotTakeIsAnErrorAndTheConnectionStays) {
  GVariantBuilder builder;
  g_variant_builder_init(&builder, G_VARIANT_TYPE_VARDICT);
  const std::string bytes(17 << 20, 'x');
  for (const char* name : {"first", "second"})
    g_variant_builder_add(&builder, "{sv}", name, g_variant_new_string(bytes.c_str()));
  EXPECT_EQ(client().call("sayEvent", g_variant_new("(a{sv})", &builder)).error,
            "org.freedesktop.DBus.Error.LimitsExceeded");
  expectEcho("({'n': <1>},)");
}

TEST_F(CallTest, aServiceCanAskItsPeers) {
  EXPECT_THAT(client().call("directoryEvent", "({'request': <'nonsense'>},)").values,
              HasSubstr("failure"));
  EXPECT_EQ(client().call("fileEvent", "({'path': <'/data/images/x.jpeg'>},)").values,
            "({'noted': <true>},)");
}

}  // namespace
