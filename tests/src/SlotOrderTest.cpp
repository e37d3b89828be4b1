// The orders of virtual operations that other binaries rely on.

#include "src/OBEXServer.h"
#include "src/OBEXServiceObserverProxy.h"
#include "tests/openobex/FakeOpenObex.h"
#include "tests/src/ForeignBinary.h"
#include "tests/src/ServiceFixture.h"

namespace test {
namespace {

using ::testing::ElementsAre;

TEST(SlotOrderTest, TheServicesInterfaceHasItsTenOperationsInOrder) {
  openobex::fake::FakeOpenObex obex;
  obex.failConnect(1);
  OBEXService service;
  RecordingObserver observer;
  const obex_phonebook_data_t contact;
  LogRecorder log;
  std::vector<std::string> first;
  for (int slot = 0; slot < 10; ++slot) {
    log.forget();
    foreign::callService(static_cast<OBEXServiceIfc*>(&service), slot,
                         static_cast<OBEXServiceObserverIfc*>(&observer), &contact);
    first.push_back(log.texts().front());
  }
  EXPECT_THAT(first, ElementsAre(">OBEXServerEnable", ">subscribe", ">unsubscribe", ">sendContact",
                                 ">sendVCard", ">cancelVCard", ">cancelTransmission",
                                 ">vCardsAccepted", ">vCardsAcceptFinished", ">vCardsRejected"));
}

TEST(SlotOrderTest, AnObserversInterfaceHasItsSixCallbacksInOrder) {
  RecordingObserver observer;
  for (int slot = 0; slot < 6; ++slot) {
    foreign::callObserver(static_cast<OBEXServiceObserverIfc*>(&observer), slot, "x");
  }
  EXPECT_THAT(observer.calls(),
              ElementsAre("vCardReceived(x, 1)", "vCardError(x, 2)", "vCardDestRequest(x)",
                          "vCardSendSucc(x)", "vCardSendErr(x, address, 3)", "vCardAccept(x)"));
}

TEST(SlotOrderTest, TheServiceObjectHasItsOperationsBehindThoseOfAService) {
  OBEXService service;
  LogRecorder log;
  std::vector<std::string> first;
  for (int slot = 0; slot < 6; ++slot) {
    log.forget();
    foreign::callServiceObject(static_cast<Service*>(&service), slot);
    first.push_back(log.linesOf("OBEX Service").front().text);
  }
  EXPECT_THAT(first,
              ElementsAre(">cancelVCard", ">cancelTransmission", ">vCardsAcceptFinished",
                          ">vCardsRejected", ">OBEXServerEnable",
                          "\tNot possible to initialize storage for saving file with photo.\n"));
}

TEST(SlotOrderTest, AServerIsAThreadOfTheOrdinaryKind) {
  openobex::fake::FakeOpenObex obex;
  OBEXServer server;
  EXPECT_EQ(foreign::threadPriority(static_cast<Threadable*>(&server)), 0);
  EXPECT_EQ(foreign::threadType(static_cast<Threadable*>(&server)), 0);
}

}  // namespace
}  // namespace test
