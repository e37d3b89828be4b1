// The service object: its peers, its observers, and the photos that it writes.

#include "src/OBEXService.h"

#include <filesystem>
#include <fstream>
#include <sstream>

#include "framework/Storage.h"
#include "tests/src/ServiceFixture.h"

namespace test {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

TEST_F(ServiceTest, ConstructionIsTraced) {
  LogRecorder log;
  OBEXService another;
  EXPECT_THAT(
      log.lines(),
      ElementsAre(RecordedLine{"OBEX Service", "./src/OBEXService.cpp", 5, ">OBEXService"},
                  RecordedLine{"OBEX Service", "./src/OBEXService.cpp", 5, "<OBEXService"}));
}

TEST_F(ServiceTest, InitLooksUpTheDirectoryThenMobility) {
  LogRecorder log;
  Init();
  EXPECT_THAT(context.lookups, ElementsAre("DirectoryServiceIfc", "MobilityServiceIfc"));
  EXPECT_THAT(log.texts(), ElementsAre(">init", "<init"));
}

TEST_F(ServiceTest, InitWithoutADirectoryDoesNotLookFurther) {
  context.services.erase("DirectoryServiceIfc");
  LogRecorder log;
  Init();
  EXPECT_THAT(context.lookups, ElementsAre("DirectoryServiceIfc"));
  EXPECT_THAT(log.texts(2), ElementsAre("\t\tDS INITIALIZATION ERROR.\n"));
  EXPECT_FALSE(log.has("<init"));
  EXPECT_FALSE(service.vCard2DirectoryService("<Entry></Entry>"));
}

TEST_F(ServiceTest, InitWithoutMobilityKeepsTheDirectory) {
  context.services.erase("MobilityServiceIfc");
  LogRecorder log;
  Init();
  EXPECT_THAT(log.texts(2), ElementsAre("\t\tMS INITIALIZATION ERROR.\n"));
  EXPECT_FALSE(log.has("<init"));
  EXPECT_TRUE(service.vCard2DirectoryService("<Entry></Entry>"));
}

TEST_F(ServiceTest, ADirectoryOfTheWrongTypeIsNoDirectory) {
  PeerService impostor;
  context.services["DirectoryServiceIfc"] = &impostor;
  LogRecorder log;
  Init();
  EXPECT_THAT(log.texts(2), IsEmpty());
  EXPECT_THAT(context.lookups, Contains("MobilityServiceIfc"));
  EXPECT_FALSE(service.vCard2DirectoryService("<Entry></Entry>"));
}

TEST_F(ServiceTest, MobilityOfTheWrongTypeIsTakenForNone) {
  PeerService impostor;
  context.services["MobilityServiceIfc"] = &impostor;
  LogRecorder log;
  Init();
  EXPECT_TRUE(log.has("<init"));
}

/// Hands a context to `init` that stands at address 0, as a framework with nothing to give does.
__attribute__((no_sanitize("undefined"), noinline)) void initWithoutContext(OBEXService& service) {
  Context* volatile none = nullptr;
  service.init(*none);
}

TEST_F(ServiceTest, InitWithoutAContextIsAnError) {
  LogRecorder log;
  initWithoutContext(service);
  EXPECT_THAT(log.texts(), ElementsAre(">init", "\tOBEX initialization failed: no context."));
  EXPECT_THAT(log.texts(2), ElementsAre("\tOBEX initialization failed: no context."));
}

TEST_F(ServiceTest, RunAndShutdownDoNothing) {
  LogRecorder log;
  service.run();
  service.shutdown();
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(ServiceTest, SubscribingNobodyIsRefused) {
  EXPECT_FALSE(service.subscribe(nullptr));
  EXPECT_FALSE(service.unsubscribe(nullptr));
  service.errorVCard("");  // would call it
}

TEST_F(ServiceTest, SubscribedTwiceMeansToldTwice) {
  EXPECT_TRUE(service.subscribe(&observer));
  EXPECT_TRUE(service.subscribe(&observer));
  service.errorVCard("x");
  ExpectCalls({"vCardError(x, 1)", "vCardError(x, 1)"});
}

TEST_F(ServiceTest, UnsubscribingRemovesTheFirstCopyOnly) {
  RecordingObserver other;
  std::vector<std::string> order;
  observer.onCall = [&order](const std::string&) { order.emplace_back("observer"); };
  other.onCall = [&order](const std::string&) { order.emplace_back("other"); };
  service.subscribe(&observer);
  service.subscribe(&other);
  service.subscribe(&observer);
  EXPECT_TRUE(service.unsubscribe(&observer));
  service.errorVCard("x");
  EXPECT_THAT(order, ElementsAre("other", "observer"));
}

TEST_F(ServiceTest, UnsubscribingAStrangerIsFalse) {
  EXPECT_FALSE(service.unsubscribe(&observer));
  service.subscribe(&observer);
  EXPECT_TRUE(service.unsubscribe(&observer));
  EXPECT_FALSE(service.unsubscribe(&observer));
}

TEST_F(ServiceTest, DestructionIsTraced) {
  LogRecorder log;
  { OBEXService another; }
  EXPECT_THAT(log.texts(),
              ElementsAre(">OBEXService", "<OBEXService", ">~OBEXService", ">OBEXServerEnable",
                          "\t\tOBEX Server was set to 0", "<OBEXServerEnable", "<~OBEXService"));
}

TEST_F(ServiceTest, UnansweredCardsAreFreedWithTheService) {
  OBEXService another;
  another.forwardVCard("a card");
}

class PhotoFileTest : public ServiceTest {
 protected:
  ~PhotoFileTest() override { std::filesystem::remove(path); }

  std::string Content() {
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
  }

  const std::string path =
      std::string(Storage::defaultRoot()) + "/photoServiceTest" + std::to_string(getpid()) + ".jpg";
};

TEST_F(PhotoFileTest, IsWrittenAndRegistered) {
  Init();
  LogRecorder log;
  EXPECT_NE(service.writeFile("J\0PG", 4, path), 0);
  EXPECT_EQ(Content(), std::string("J\0PG", 4));
  EXPECT_THAT(mobility.paths, ElementsAre(path));
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(PhotoFileTest, IsWrittenWithoutMobilityToo) {
  EXPECT_NE(service.writeFile("JPG", 3, path), 0);
  EXPECT_EQ(Content(), "JPG");
}

TEST_F(PhotoFileTest, OutsideTheImagesFolderIsRefused) {
  Init();
  LogRecorder log;
  EXPECT_EQ(service.writeFile("JPG", 3, "/tmp/photo.jpg"), 0);
  EXPECT_EQ(service.writeFile("JPG", 3, "/data/images/../photo.jpg"), 0);
  EXPECT_EQ(log.count("\tNot possible to initialize storage for saving file with photo.\n"), 2);
  EXPECT_THAT(log.texts(2), Not(IsEmpty()));
  EXPECT_THAT(mobility.paths, IsEmpty());
}

TEST_F(PhotoFileTest, ThatCannotBeStoredIsAnErrorOfItsOwn) {
  Init();
  LogRecorder log;
  EXPECT_EQ(service.writeFile("JPG", -1, path), 0);
  EXPECT_THAT(log.linesOf("OBEX Service"),
              ElementsAre(RecordedLine{"OBEX Service", "./src/OBEXService.cpp", 2,
                                       "\tNot possible to store photo into the file."}));
  EXPECT_THAT(mobility.paths, IsEmpty());
  EXPECT_FALSE(std::filesystem::exists(path));
}

}  // namespace
}  // namespace test
