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

constexpr const char* kService = "/org/obexphone/OBEXService";
constexpr const char* kServiceInterface = "org.obexphone.OBEXServiceIfc";
constexpr const char* kNotSubscribed = "({'unsubscribeEventReturn': <false>},)";

/// Calls to the real service.
class CallTest : public test::HostFixture {
 protected:
  void SetUp() override { startHost({"--log-level", "trace"}); }

  std::string errorOf(const std::string& member, const std::string& arguments) {
    return client().call(member, arguments).error;
  }
  /// Waits until the invoker logs a message that it has decoded.
  bool invokerGets(const std::string& message) {
    return host().waitForErr("handleMessage called: " + message);
  }
};

TEST_F(CallTest, ReturnsTheServicesReply) {
  EXPECT_EQ(client().call("unsubscribeEvent").values, kNotSubscribed);
}

TEST_F(CallTest, ReturnsAnEmptyBodyWhenTheServiceDoesNotReply) {
  const BusClient::Answer answer = client().call("vCardsRejectedEvent");
  EXPECT_TRUE(answer.came);
  EXPECT_EQ(answer.error, "");
  EXPECT_EQ(answer.values, "");
}

TEST_F(CallTest, WorksWithBusctl) {
  const auto answer = busctl({"call", "org.obexphone.Phone", kService, kServiceInterface,
                              "unsubscribeEvent", "a{sv}", "1", "ignored", "s", "x"});
  EXPECT_EQ(answer.exitCode, 0) << answer.err;
  EXPECT_EQ(answer.out, "a{sv} 1 \"unsubscribeEventReturn\" b false\n");
}

TEST_F(CallTest, PassesEveryTypeOfParameterToTheInvoker) {
  client().call("unsubscribeEvent", "({'flag': <true>, 'n': <-42>, 't': <'ab'>},)");
  EXPECT_TRUE(invokerGets(R"({"name":"unsubscribeEvent","type":2,"parameters":[)"
                          R"({"name":"flag","type":"bool","direction":0,"value":true},)"
                          R"({"name":"n","type":"int","direction":0,"value":-42},)"
                          R"({"name":"t","type":"string","direction":0,"value":"ab"}]})"))
      << host().err();
}

TEST_F(CallTest, PassesAnUnknownMessageToTheInvokerAndRefusesIt) {
  const BusClient::Answer answer = client().call("vcardcancelevent");
  EXPECT_EQ(answer.error, "org.freedesktop.DBus.Error.UnknownMethod");
  EXPECT_EQ(answer.message, "the service has no method \"vcardcancelevent\"");
  EXPECT_TRUE(host().waitForErr("Invalid Message, {\"name\":\"vcardcancelevent\""));
}

TEST_F(CallTest, RefusesABodyThatIsNoDictionaryWithoutPassingItToTheInvoker) {
  for (const char* body : {"('x',)", "(1, 2)", "(@a{sv} {}, 'more')", "({'a': 'b'},)"})
    EXPECT_EQ(errorOf("vCardsRejectedEvent", body), "org.freedesktop.DBus.Error.InvalidArgs")
        << body;
  EXPECT_EQ(client().callObject(kService, kServiceInterface, "vCardsRejectedEvent", "").error,
            "org.freedesktop.DBus.Error.InvalidArgs");
  EXPECT_THAT(host().err(), Not(HasSubstr("vCardsRejectedEvent")));
}

TEST_F(CallTest, PassesAMessageWithoutAValueOfAnotherTypeToTheInvokerAndNamesThatValue) {
  const BusClient::Answer answer =
      client().call("vCardSendEvent", "({'bdaParam': <'x'>, 'speed': <1.5>},)");
  EXPECT_EQ(answer.error, "org.freedesktop.DBus.Error.InvalidArgs");
  EXPECT_THAT(answer.message, AllOf(HasSubstr("speed"), HasSubstr("type d")));
  EXPECT_TRUE(invokerGets(R"({"name":"vCardSendEvent","type":2,"parameters":[)"
                          R"({"name":"bdaParam","type":"string","direction":0,"value":"x"}]})"));
}

TEST_F(CallTest, PassesAnUnknownMessageWithAnUnreadableBodyToTheInvoker) {
  EXPECT_EQ(errorOf("nonsense", "('x',)"), "org.freedesktop.DBus.Error.UnknownMethod");
  EXPECT_TRUE(
      host().waitForErr(R"(Invalid Message, {"name":"nonsense","type":2,"parameters":[]})"));
  EXPECT_EQ(errorOf("absurd", "({'speed': <1.5>, 'n': <1>},)"),
            "org.freedesktop.DBus.Error.UnknownMethod");
  EXPECT_TRUE(host().waitForErr(
      R"(Invalid Message, {"name":"absurd","type":2,"parameters":[{"name":"n",)"));
}

TEST_F(CallTest, SendsNoReplyWhenNoneIsExpected) {
  const auto unknown = client().tell("nonsense", "(@a{sv} {},)");
  const auto wrong = client().tell("unsubscribeEvent", "('x',)");
  const auto good = client().tell("unsubscribeEvent", "(@a{sv} {},)");
  EXPECT_EQ(client().call("unsubscribeEvent").values, kNotSubscribed);
  EXPECT_FALSE(client().answered(unknown));
  EXPECT_FALSE(client().answered(wrong));
  EXPECT_FALSE(client().answered(good));
}

TEST_F(CallTest, AcceptsCallsWithoutAnInterface) {
  EXPECT_EQ(client().callObject(kService, "", "unsubscribeEvent", "(@a{sv} {},)").values,
            kNotSubscribed);
  EXPECT_EQ(client().callObject(kService, "", "nonsense", "(@a{sv} {},)").error,
            "org.freedesktop.DBus.Error.UnknownMethod");
  EXPECT_THAT(client().callObject(kService, "", "Introspect", "").values,
              HasSubstr("subscribeEvent"));
  EXPECT_EQ(client().callObject(kService, "", "Ping", "").error, "");
}

TEST_F(CallTest, RefusesOtherInterfacesAndObjects) {
  EXPECT_THAT(client().callObject(kService, "org.example.Other", "subscribeEvent", "").error,
              StartsWith("org.freedesktop.DBus.Error.Unknown"));
  for (const char* object : {"/", "/org/obexphone", "/org/obexphone/Nothing"})
    EXPECT_THAT(
        client().callObject(object, kServiceInterface, "subscribeEvent", "(@a{sv} {},)").error,
        StartsWith("org.freedesktop.DBus.Error.Unknown"))
        << object;
}

TEST_F(CallTest, AnswersTheStandardInterfaces) {
  EXPECT_EQ(client().callObject(kService, "org.freedesktop.DBus.Peer", "Ping", "").error, "");
  EXPECT_THAT(client().callObject(kService, "org.freedesktop.DBus.Peer", "GetMachineId", "").values,
              Not(""));
  EXPECT_EQ(client()
                .callObject(kService, "org.freedesktop.DBus.Properties", "GetAll",
                            "('org.obexphone.OBEXServiceIfc',)")
                .values,
            "(@a{sv} {},)");
}

TEST_F(CallTest, IntrospectsAsTheFileBesideThePlugin) {
  const auto answer =
      client().callObject(kService, "org.freedesktop.DBus.Introspectable", "Introspect", "");
  for (const char* member : {"obexEnableEvent", "vCardsRejectedEvent", kServiceInterface})
    EXPECT_THAT(answer.values, HasSubstr(member));
  EXPECT_THAT(busctl({"introspect", "org.obexphone.Phone", kService}).out,
              HasSubstr(".vCardSendEvent"));
}

TEST_F(CallTest, ListsAllObjects) {
  const auto tree = busctl({"tree", "--list", "org.obexphone.Phone"});
  for (const char* object : {kService, "/org/obexphone/DirectoryService", "/org/obexphone/Phone"})
    EXPECT_THAT(tree.out, HasSubstr(object));
}

/// Calls to FakeService.
class FakeCallTest : public test::HostFixture {
 protected:
  FakeCallTest() : HostFixture("FakeService") {}
  void SetUp() override { startHost(); }

  void expectEcho(const std::string& arguments) {
    EXPECT_EQ(client().call("sayEvent", arguments).values, arguments);
  }
  BusClient::Answer echoTexts(const std::vector<std::string>& names, std::size_t size) {
    GVariantBuilder builder;
    g_variant_builder_init(&builder, G_VARIANT_TYPE_VARDICT);
    const std::string text(size, 'x');
    for (const std::string& name : names)
      g_variant_builder_add(&builder, "{sv}", name.c_str(), g_variant_new_string(text.c_str()));
    return client().call("sayEvent", g_variant_new("(a{sv})", &builder));
  }
};

TEST_F(FakeCallTest, CarriesEveryTypeInBothDirections) {
  expectEcho("({'flag': <true>, 'number': <-42>, 'text': <'h\xc3\xa9llo'>},)");
  expectEcho("({'text': <'\"\\\\ \\n\\t\\u0001 \xe2\x82\xac \xf0\x9f\x98\x80'>},)");
}

TEST_F(FakeCallTest, CarriesBytesThatAreNotUtf8InBothDirections) {
  expectEcho("({'text': <[byte 0xff, 0x41]>},)");
  expectEcho("({'text': <[byte 0x61, 0x00, 0x62]>},)");
  EXPECT_EQ(client().call("sayEvent", "({'text': <[byte 0x68, 0x69]>},)").values,
            "({'text': <'hi'>},)");
}

TEST_F(FakeCallTest, ReturnsWhenTheServiceHasHandledTheMessage) {
  const auto waiting = block();
  EXPECT_FALSE(client().answered(waiting));
  release();
  EXPECT_EQ(client().wait(waiting).error, "");
}

TEST_F(FakeCallTest, HandlesCallsOneAtATimeInOrder) {
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

TEST_F(FakeCallTest, FailsWhenTheReplyCannotBeDecoded) {
  const BusClient::Answer answer = client().call("babbleEvent", "({'bytes': <'{{{'>},)");
  EXPECT_EQ(answer.error, "org.freedesktop.DBus.Error.Failed");
  EXPECT_THAT(answer.message, HasSubstr("can't decode the service's reply"));
}

TEST_F(FakeCallTest, DropsASecondReply) {
  EXPECT_EQ(client().call("repeatEvent", "({'n': <1>},)").values, "({'n': <1>},)");
  EXPECT_TRUE(host().waitForErr("it has got one already"));
}

TEST_F(FakeCallTest, SurvivesAServiceThatThrows) {
  const BusClient::Answer answer = client().call("failEvent");
  EXPECT_EQ(answer.error, "org.freedesktop.DBus.Error.Failed");
  EXPECT_THAT(answer.message, HasSubstr("the fake is broken"));
  expectEcho("({'n': <1>},)");
}

TEST_F(FakeCallTest, RefusesCallsWhenTheQueueIsFull) {
  const auto waiting = block();
  std::vector<std::uint32_t> sent;
  for (int i = 0; i < 64; ++i) sent.push_back(client().send("sayEvent"));
  const BusClient::Answer refused = client().call("sayEvent");
  EXPECT_EQ(refused.error, "org.freedesktop.DBus.Error.LimitsExceeded");
  EXPECT_EQ(refused.message, "the telephone's queue is full; try again later");
  EXPECT_EQ(client().status("queued"), "64");
  release();
  EXPECT_EQ(client().wait(waiting).error, "");
  for (const auto serial : sent) EXPECT_EQ(client().wait(serial).error, "");
}

TEST_F(FakeCallTest, AnswersOtherCallsWhileTheServiceIsBusy) {
  block();
  EXPECT_EQ(client().status("busyWith"), "'waitEvent'");
  EXPECT_THAT(client()
                  .callObject("/org/obexphone/FakeService", "org.freedesktop.DBus.Introspectable",
                              "Introspect", "")
                  .values,
              HasSubstr("sayEvent"));
  EXPECT_EQ(client()
                .callObject("/org/obexphone/DirectoryService", "org.obexphone.DirectoryServiceIfc",
                            "handleRequest", "(b'nonsense',)")
                .error,
            "");
  release();
}

TEST_F(FakeCallTest, CarriesAMessageOf25Megabytes) {
  const std::size_t size = 25 << 20;
  const auto answer = echoTexts({"text"}, size);
  EXPECT_EQ(answer.error, "");
  EXPECT_EQ(answer.values.size(), size + std::string("({'text': <''>},)").size());
}

/// On a bus with a higher limit than the host's.
class LargeCallTest : public FakeCallTest {
 protected:
  void SetUp() override {
    startBus("", "<limit name=\"max_message_size\">134217728</limit>");
    startHost();
  }
};

TEST_F(LargeCallTest, RefusesAReplyAboveTheLimitAndKeepsTheConnection) {
  EXPECT_EQ(echoTexts({"first", "second"}, 17 << 20).error,
            "org.freedesktop.DBus.Error.LimitsExceeded");
  expectEcho("({'n': <1>},)");
}

}  // namespace
