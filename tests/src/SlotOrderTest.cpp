// The orders of virtual operations, which other binaries rely on.

#include "framework/ProxyRequest.h"
#include "src/OBEXServer.h"
#include "src/OBEXServiceObserverProxy.h"
#include "tests/src/ForeignBinary.h"
#include "tests/src/ServiceFixture.h"

namespace test {
namespace {

using ::testing::ElementsAre;

class SlotOrder : public ServiceTest {
 protected:
  /// The first entry for each call.
  template <typename Call>
  Entries firstEntries(int slots, Call call) {
    Entries first;
    for (int slot = 0; slot < slots; ++slot) {
      recording.forget();
      call(slot);
      first.push_back(recording.entries().empty() ? "nothing" : recording.entries().front());
    }
    return first;
  }
};

TEST_F(SlotOrder, OfTheServicesInterface) {
  obex.failConnect(1);
  const obex_phonebook_data_t contact;
  const auto call = [&](int slot) {
    foreign::callService(static_cast<OBEXServiceIfc*>(&service), slot,
                         static_cast<OBEXServiceObserverIfc*>(&observer), &contact);
  };
  EXPECT_THAT(firstEntries(10, call),
              ElementsAre(">OBEXServerEnable", ">subscribe", ">unsubscribe", ">sendContact",
                          ">sendVCard", ">cancelVCard", ">cancelTransmission", ">vCardsAccepted",
                          ">vCardsAcceptFinished", ">vCardsRejected"));
}

TEST_F(SlotOrder, OfAnObserversInterface) {
  const auto call = [&](int slot) {
    foreign::callObserver(static_cast<OBEXServiceObserverIfc*>(&observer), slot, "x");
  };
  EXPECT_THAT(firstEntries(6, call),
              ElementsAre("vCardReceived(x, 1)", "vCardError(x, 2)", "vCardDestRequest(x)",
                          "vCardSendSucc(x)", "vCardSendErr(x, address, 3)", "vCardAccept(x)"));
}

TEST_F(SlotOrder, OfTheServiceItself) {
  const obex_phonebook_data_t contact;
  const auto call = [&](int slot) {
    foreign::callServiceObject(static_cast<Service*>(&service), slot, &context,
                               static_cast<OBEXServiceObserverIfc*>(&observer), &contact);
  };
  EXPECT_THAT(
      firstEntries(15, call),
      ElementsAre(">init", "nothing", "nothing", "nothing", ">OBEXServerEnable", ">subscribe",
                  ">unsubscribe", ">sendContact", ">cancelVCard", ">cancelTransmission",
                  ">vCardsAccepted", ">vCardsAcceptFinished", ">vCardsRejected", ">sendVCard",
                  "storage init /data/images/x in|binary out|binary"));
}

class NullRequest : public ProxyRequest {
 public:
  bool send(const Method&) override { return true; }
};

TEST_F(SlotOrder, OfTheObserverProxy) {
  OBEXServiceObserverProxy proxy;
  NullRequest request;
  const auto call = [&](int slot) {
    foreign::callProxy(static_cast<Proxy*>(&proxy), slot, &context, &request);
  };
  const std::string prefix = "OBEXServiceObserverProxy: >vCard";
  EXPECT_THAT(firstEntries(10, call),
              ElementsAre("nothing", "nothing", "nothing", "nothing", prefix + "Received",
                          prefix + "Error", prefix + "DestRequest", prefix + "SendSucc",
                          prefix + "SendErr", prefix + "Accept"));
}

TEST_F(SlotOrder, OfTheServersThread) {
  OBEXServer server;
  EXPECT_EQ(foreign::threadPriority(static_cast<Threadable*>(&server)), 0);
  EXPECT_EQ(foreign::threadType(static_cast<Threadable*>(&server)), 0);
}

}  // namespace
}  // namespace test
