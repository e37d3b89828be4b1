// The service object: construction, peers, observers, photo files, destruction.

#include "src/OBEXService.h"

#include <optional>

#include "framework/GPALThreadPriority.h"
#include "tests/src/ServiceFixture.h"

namespace test {
namespace {

class ServiceObject : public ServiceTest {};

TEST_F(ServiceObject, ConstructsItsSemaphoresAsMutexes) {
  recording.expect(
      {"semaphore observers 1 1", "semaphore cards 1 1", ">OBEXService", "<OBEXService"});
}

TEST_F(ServiceObject, IsCreatedByTheFactoryAsAService) {
  auto* created = static_cast<Service*>(createOBEXService());
  EXPECT_NE(dynamic_cast<OBEXService*>(created), nullptr);
  delete created;
}

TEST_F(ServiceObject, FindsTheDirectoryAndThenMobility) {
  recording.forget();
  service.init(context);
  recording.expect(
      {">init", "getService DirectoryServiceIfc", "getService MobilityServiceIfc", "<init"});
}

TEST_F(ServiceObject, DoesNotLookForMobilityWithoutADirectory) {
  context.services.erase("DirectoryServiceIfc");
  recording.forget();
  service.init(context);
  recording.expect(
      {">init", "getService DirectoryServiceIfc", "error: \t\tDS INITIALIZATION ERROR.\n"});
  EXPECT_FALSE(service.vCard2DirectoryService("card"));
}

TEST_F(ServiceObject, KeepsTheDirectoryWhenMobilityIsMissing) {
  context.services.erase("MobilityServiceIfc");
  recording.forget();
  service.init(context);
  recording.expect({">init", "getService DirectoryServiceIfc", "getService MobilityServiceIfc",
                    "error: \t\tMS INITIALIZATION ERROR.\n"});
  EXPECT_TRUE(service.vCard2DirectoryService("card"));
}

TEST_F(ServiceObject, IgnoresPeersOfTheWrongType) {
  PeerService impostor;
  context.services = {{"DirectoryServiceIfc", &impostor}, {"MobilityServiceIfc", &impostor}};
  recording.forget();
  service.init(context);
  recording.expect(
      {">init", "getService DirectoryServiceIfc", "getService MobilityServiceIfc", "<init"});
  EXPECT_FALSE(service.vCard2DirectoryService("card"));
  EXPECT_EQ(service.writeFile("JPG", 3, "/data/images/photo.jpg"), 1);
}

/// Passes a context at address 0, as a framework without one would.
__attribute__((no_sanitize("undefined"), noinline)) void initWithoutContext(OBEXService& service) {
  Context* volatile none = nullptr;
  service.init(*none);
}

TEST_F(ServiceObject, ReportsAMissingContext) {
  recording.forget();
  initWithoutContext(service);
  recording.expect({">init", "error: \tOBEX initialization failed: no context."});
}

TEST_F(ServiceObject, DoesNothingOnRunAndShutdown) {
  recording.forget();
  service.run();
  service.shutdown();
  recording.expect({});
}

TEST_F(ServiceObject, DisablesTheServerWhenDestroyed) {
  std::optional<OBEXService> another;
  another.emplace();
  recording.forget();
  another.reset();
  recording.expect({">~OBEXService", ">OBEXServerEnable", "\t\tOBEX Server was set to 0",
                    "<OBEXServerEnable", "<~OBEXService"});
}

TEST_F(ServiceObject, KeepsTheDirectoryUntilTheServerHasStopped) {
  std::optional<OBEXService> another;
  another.emplace();
  another->init(context);
  another->subscribe(&observer);
  another->OBEXServerEnable(true);
  // The server's thread, which fails once before it ends, reports a card on its way.
  obex.failInit(1);
  obex.onCall = [&](const openobex::fake::Call& call) {
    if (call.function == "OBEX_Init" && directory.requests.empty()) {
      EXPECT_TRUE(another->vCard2DirectoryService("card"));
    }
  };
  another.reset();
  EXPECT_EQ(directory.requests.size(), 2U);
}

TEST_F(ServiceObject, FreesWaitingCardsWhenDestroyed) {
  OBEXService another;
  another.forwardVCard("a card");  // a leak checker sees it
}

// Observers

TEST_F(ServiceObject, LocksTheObserversWhileSubscribing) {
  recording.forget();
  EXPECT_TRUE(service.subscribe(&observer));
  recording.expect({">subscribe", "take observers", "give observers", "<subscribe"});
}

TEST_F(ServiceObject, RefusesANullObserver) {
  recording.forget();
  EXPECT_FALSE(service.subscribe(nullptr));
  recording.expect({">subscribe", "<subscribe"});
  EXPECT_FALSE(service.unsubscribe(nullptr));
  service.errorVCard("");  // would call it
}

TEST_F(ServiceObject, LocksTheObserversWhileUnsubscribing) {
  initAndSubscribe();
  EXPECT_TRUE(service.unsubscribe(&observer));
  recording.expect({">unsubscribe", "take observers", "give observers", "<unsubscribe"});
  service.errorVCard("x");
  EXPECT_TRUE(observer.calls.empty());
}

TEST_F(ServiceObject, ReportsAnUnknownObserverAsNotUnsubscribed) {
  EXPECT_FALSE(service.unsubscribe(&observer));
  service.subscribe(&observer);
  EXPECT_FALSE(service.unsubscribe(&second));
  EXPECT_TRUE(service.unsubscribe(&observer));
  EXPECT_FALSE(service.unsubscribe(&observer));
}

TEST_F(ServiceObject, NotifiesAnObserverOnceForEachSubscription) {
  service.subscribe(&observer);
  service.subscribe(&observer);
  service.errorVCard("x");
  EXPECT_EQ(observer.calls.size(), 2U);
}

TEST_F(ServiceObject, RemovesTheFirstSubscriptionOnly) {
  service.subscribe(&observer);
  service.subscribe(&second);
  service.subscribe(&observer);
  EXPECT_TRUE(service.unsubscribe(&observer));
  recording.forget();
  service.errorVCard("x");
  recording.expect({">errorVCard", "take observers", "\tsending vCard to observer...",
                    "second vCardError(x, 1)", "\tsending vCard to observer...", "vCardError(x, 1)",
                    "give observers", "<errorVCard"});
}

// Photo files

const std::string kPhoto = "/data/images/photo.jpg";
const std::string kInitPhoto = "storage init " + kPhoto + " in|binary out|binary";

TEST_F(ServiceObject, StoresAPhotoAndRegistersIt) {
  init();
  EXPECT_EQ(service.writeFile("JPEG", 4, kPhoto), 1);
  recording.expect(
      {kInitPhoto, "storage store null JPEG", "storage shutdown", "registerFile " + kPhoto});
}

TEST_F(ServiceObject, StoresAPhotoWithoutMobility) {
  recording.forget();
  EXPECT_EQ(service.writeFile("JPEG", 4, kPhoto), 1);
  recording.expect({kInitPhoto, "storage store null JPEG", "storage shutdown"});
}

TEST_F(ServiceObject, ReportsAPathThatStorageRefuses) {
  init();
  recording.refusesFiles = true;
  EXPECT_EQ(service.writeFile("JPEG", 4, kPhoto), 0);
  recording.expect(
      {kInitPhoto, "error: \tNot possible to initialize storage for saving file with photo.\n"});
}

TEST_F(ServiceObject, ReportsAPhotoThatStorageDoesNotTake) {
  init();
  recording.refusesBytes = true;
  EXPECT_EQ(service.writeFile("JPEG", 4, kPhoto), 0);
  recording.expect({kInitPhoto, "storage store null JPEG", "storage shutdown",
                    "error: \tNot possible to store photo into the file."});
}

}  // namespace
}  // namespace test
