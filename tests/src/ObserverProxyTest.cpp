// The service's notifications, as messages.

#include "framework/Method.h"
#include "framework/ProxyRequest.h"
#include "src/OBEXServiceObserverProxy.h"
#include "tests/src/ServiceFixture.h"

namespace test {
namespace {

using ::testing::ElementsAre;

/// Keeps every message as a text: "0 vCardErrorEvent errorParam/0=x countParam/0=1".
class RecordingRequest : public ProxyRequest {
 public:
  bool send(const Method& method) override {
    std::string text = std::to_string(method.getType()) + " " + method.getName();
    for (const Parameter& parameter : method.getParameters()) {
      text += " " + parameter.name + "/" + std::to_string(parameter.direction) + "=";
      if (const auto* string = std::get_if<std::string>(&parameter.value)) text += *string;
      if (const auto* number = std::get_if<int>(&parameter.value)) text += std::to_string(*number);
    }
    sent.push_back(text);
    return false;  // a proxy doesn't look at it
  }

  std::vector<std::string> sent;
};

class ObserverProxyTest : public ::testing::Test {
 protected:
  ObserverProxyTest() { proxy.initProxy(request); }
  void ExpectSent(const std::string& message) { EXPECT_THAT(request.sent, ElementsAre(message)); }

  RecordingRequest request;
  OBEXServiceObserverProxy proxy;
};

TEST_F(ObserverProxyTest, ReceivedCardsCarryTheFirstAndTheCount) {
  proxy.vCardReceived("<card/>", 2);
  ExpectSent("0 vCardReceivedEvent vCardiParam/0=<card/> countParam/0=2");
}

TEST_F(ObserverProxyTest, AnErrorMayBeAnEmptyText) {
  proxy.vCardError("", 1);
  ExpectSent("0 vCardErrorEvent errorParam/0= countParam/0=1");
}

TEST_F(ObserverProxyTest, ADestinationRequestCarriesTheInfo) {
  proxy.vCardDestRequest("Berg, Anna");
  ExpectSent("0 vCardDestRequestEvent infoParam/0=Berg, Anna");
}

TEST_F(ObserverProxyTest, ASuccessCarriesTheInfo) {
  proxy.vCardSendSucc("Berg, Anna");
  ExpectSent("0 vCardSendSuccEvent infoParam/0=Berg, Anna");
}

TEST_F(ObserverProxyTest, AFailureCarriesInfoAddressAndChannelInThisOrder) {
  proxy.vCardSendErr("Berg", "00:11:22:33:44:55", 0);
  ExpectSent("0 vCardSendErrEvent infoParam/0=Berg bdaParam/0=00:11:22:33:44:55 channelParam/0=0");
}

TEST_F(ObserverProxyTest, AnOfferCarriesTheCardUnchanged) {
  proxy.vCardAccept("<a>&amp;\n\x01\xff</a>");
  ExpectSent("0 vCardAcceptEvent acceptParam/0=<a>&amp;\n\x01\xff</a>");
}

TEST_F(ObserverProxyTest, TwoCallsAreTwoMessagesInTheirOrder) {
  proxy.vCardAccept("first");
  proxy.vCardAccept("second");
  EXPECT_THAT(request.sent, ElementsAre("0 vCardAcceptEvent acceptParam/0=first",
                                        "0 vCardAcceptEvent acceptParam/0=second"));
}

TEST_F(ObserverProxyTest, EachCallIsTracedWithItsOwnName) {
  LogRecorder log;
  proxy.vCardReceived("", 0);
  proxy.vCardError("", 0);
  proxy.vCardDestRequest("");
  proxy.vCardSendSucc("");
  proxy.vCardSendErr("", "", 0);
  proxy.vCardAccept("");
  EXPECT_THAT(log.texts(), ElementsAre(">vCardReceived", "<vCardReceived", ">vCardError",
                                       "<vCardError", ">vCardDestRequest", "<vCardDestRequest",
                                       ">vCardSendSucc", "<vCardSendSucc", ">vCardSendErr",
                                       "<vCardSendErr", ">vCardAccept", "<vCardAccept"));
}

TEST_F(ObserverProxyTest, DestructionIsTracedAndLeavesTheRequestAlone) {
  LogRecorder log;
  {
    OBEXServiceObserverProxy another;
    another.initProxy(request);
  }
  EXPECT_THAT(log.texts(), ElementsAre(">~OBEXServiceObserverProxy", "<~OBEXServiceObserverProxy"));
  EXPECT_TRUE(request.sent.empty());
}

TEST_F(ObserverProxyTest, InitAndShutdownDoNothing) {
  PhoneContext context;
  LogRecorder log;
  proxy.init(context);
  proxy.shutdown();
  EXPECT_TRUE(log.lines().empty());
  EXPECT_TRUE(context.lookups.empty());
}

}  // namespace
}  // namespace test
