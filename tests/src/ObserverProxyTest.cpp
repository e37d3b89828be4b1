// The service's notifications, as messages.

#include <memory>

#include "framework/Method.h"
#include "framework/ProxyRequest.h"
#include "src/OBEXServiceObserverProxy.h"
#include "tests/src/ServiceFixture.h"

namespace test {
namespace {

/// Recorded as "send 0 vCardErrorEvent errorParam/0=x countParam/0=1": the message's type and name,
/// each parameter's name, direction and value.
class FakeRequest : public ProxyRequest {
 public:
  bool send(const Method& method) override {
    std::string text = "send " + std::to_string(method.getType()) + " " + method.getName();
    for (const Parameter& parameter : method.getParameters()) {
      text += " " + parameter.name + "/" + std::to_string(parameter.direction) + "=";
      if (const auto* string = std::get_if<std::string>(&parameter.value)) text += *string;
      if (const auto* number = std::get_if<int>(&parameter.value)) text += std::to_string(*number);
    }
    Recording::add(text);
    return false;  // ignored by the proxy
  }
};

class ObserverProxy : public ::testing::Test {
 protected:
  ObserverProxy() { proxy.initProxy(request); }

  Recording recording{"OBEXServiceObserverProxy"};
  FakeRequest request;
  OBEXServiceObserverProxy proxy;
};

TEST_F(ObserverProxy, SendsReceivedCards) {
  proxy.vCardReceived("<card/>", 2);
  recording.expect({">vCardReceived",
                    "send 0 vCardReceivedEvent vCardiParam/0=<card/> countParam/0=2",
                    "<vCardReceived"});
}

TEST_F(ObserverProxy, SendsAnErrorWithAnEmptyText) {
  proxy.vCardError("", 1);
  recording.expect(
      {">vCardError", "send 0 vCardErrorEvent errorParam/0= countParam/0=1", "<vCardError"});
}

TEST_F(ObserverProxy, SendsADestinationRequest) {
  proxy.vCardDestRequest("Berg, Anna");
  recording.expect({">vCardDestRequest", "send 0 vCardDestRequestEvent infoParam/0=Berg, Anna",
                    "<vCardDestRequest"});
}

TEST_F(ObserverProxy, SendsTheSuccessOfAPush) {
  proxy.vCardSendSucc("Berg, Anna");
  recording.expect(
      {">vCardSendSucc", "send 0 vCardSendSuccEvent infoParam/0=Berg, Anna", "<vCardSendSucc"});
}

TEST_F(ObserverProxy, SendsTheFailureOfAPush) {
  proxy.vCardSendErr("Berg", "00:11:22:33:44:55", 0);
  recording.expect({">vCardSendErr",
                    "send 0 vCardSendErrEvent infoParam/0=Berg bdaParam/0=00:11:22:33:44:55 "
                    "channelParam/0=0",
                    "<vCardSendErr"});
}

TEST_F(ObserverProxy, SendsAnOfferUnchanged) {
  proxy.vCardAccept("<a>&amp;\n\x01\xff</a>");
  recording.expect({">vCardAccept", "send 0 vCardAcceptEvent acceptParam/0=<a>&amp;\n\x01\xff</a>",
                    "<vCardAccept"});
}

TEST_F(ObserverProxy, DoesNothingOnInitShutdownAndTimers) {
  FakeContext context;
  proxy.init(context);
  proxy.shutdown();
  proxy.timerEvent(1);
  recording.expect({});
}

TEST_F(ObserverProxy, IsCreatedByTheFactoryAndTracesItsDestruction) {
  auto* created = static_cast<Proxy*>(createOBEXServiceObserverProxy());
  EXPECT_NE(dynamic_cast<OBEXServiceObserverIfc*>(created), nullptr);
  recording.expect({});
  delete created;
  recording.expect({">~OBEXServiceObserverProxy", "<~OBEXServiceObserverProxy"});
}

}  // namespace
}  // namespace test
