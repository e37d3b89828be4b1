// Receiving switched on and off.

#include <pthread.h>

#include <atomic>
#include <new>

#include "tests/openobex/FakeOpenObex.h"
#include "tests/src/ServiceFixture.h"

// The thread sanitizer has an allocation of its own that can't be replaced.
#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define ALLOCATION_IS_THE_SANITIZERS
#endif
#endif

#ifndef ALLOCATION_IS_THE_SANITIZERS

namespace {

std::atomic<bool> noMemoryWithoutThrowing = false;

}  // namespace

// The service asks for its server in a way that can fail without an exception; here it does.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  if (noMemoryWithoutThrowing) return nullptr;
  try {
    return ::operator new(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

#endif

namespace test {
namespace {

using openobex::fake::FakeOpenObex;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// Makes the system refuse new threads while it lives: none gets a stack of this size.
class NoMoreThreads {
 public:
  NoMoreThreads() {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_getattr_default_np(&m_former);
    pthread_attr_setstacksize(&attributes, std::size_t{1} << 46);
    pthread_setattr_default_np(&attributes);
    pthread_attr_destroy(&attributes);
  }
  ~NoMoreThreads() {
    pthread_setattr_default_np(&m_former);
    pthread_attr_destroy(&m_former);
  }
  NoMoreThreads(const NoMoreThreads&) = delete;
  NoMoreThreads& operator=(const NoMoreThreads&) = delete;

 private:
  pthread_attr_t m_former;
};

class ServerSwitchingTest : public ::testing::Test {
 protected:
  void ExpectServersStarted(int count) {
    EXPECT_TRUE(obex.waitForCalls("BtOBEX_ServerRegister", count));
  }

  FakeOpenObex obex;
};

TEST_F(ServerSwitchingTest, OnTwiceIsOneServer) {
  OBEXService service;
  LogRecorder log;
  service.OBEXServerEnable(true);
  service.OBEXServerEnable(true);
  ExpectServersStarted(1);
  EXPECT_EQ(log.count("\tspawning thread with result 1"), 1);
  EXPECT_EQ(log.count("\t\tOBEX Server was set to 1"), 2);
  EXPECT_EQ(log.count("<OBEXServerEnable"), 2);
  service.OBEXServerEnable(false);
  EXPECT_EQ(obex.calls("OBEX_Init").size(), 1U);
}

TEST_F(ServerSwitchingTest, OnIsLoggedStepByStep) {
  OBEXService service;
  LogRecorder log;
  service.OBEXServerEnable(true);
  ExpectServersStarted(1);
  const std::vector<std::string> texts = log.texts();
  EXPECT_THAT(std::vector<std::string>(texts.begin(), texts.begin() + 10),
              ElementsAre(">OBEXServerEnable", "\t\tOBEX Server was set to 1", ">OBEXServer",
                          "<OBEXServer", ">setOBEXService", ">setOBEXService", "<setOBEXService",
                          "<setOBEXService", ">setEnable", "<setEnable"));
}

TEST_F(ServerSwitchingTest, OffWhileOffIsOnlyTraced) {
  OBEXService service;
  LogRecorder log;
  service.OBEXServerEnable(false);
  EXPECT_THAT(log.texts(), ElementsAre(">OBEXServerEnable", "\t\tOBEX Server was set to 0",
                                       "<OBEXServerEnable"));
  EXPECT_THAT(obex.calls(), IsEmpty());
}

TEST_F(ServerSwitchingTest, OffWaitsForTheThreadAndFreesTheServer) {
  OBEXService service;
  service.OBEXServerEnable(true);
  ExpectServersStarted(1);
  LogRecorder log;
  service.OBEXServerEnable(false);
  EXPECT_EQ(log.count("\tkilling thread"), 1);
  EXPECT_EQ(log.count("\tterminating server."), 1);
  EXPECT_EQ(log.count(">~OBEXServer"), 1);
  EXPECT_EQ(obex.liveHandles(), 0);
}

TEST_F(ServerSwitchingTest, OnAgainIsAFreshServer) {
  OBEXService service;
  service.OBEXServerEnable(true);
  ExpectServersStarted(1);
  service.OBEXServerEnable(false);
  LogRecorder log;
  service.OBEXServerEnable(true);
  ExpectServersStarted(2);
  EXPECT_TRUE(log.has(">OBEXServer"));
}

TEST_F(ServerSwitchingTest, DestroyingTheServiceStopsTheServerFirst) {
  LogRecorder log;
  {
    OBEXService service;
    service.OBEXServerEnable(true);
    ExpectServersStarted(1);
  }
  const std::vector<std::string> texts = log.texts();
  const auto position = [&texts](const std::string& text) {
    return std::find(texts.begin(), texts.end(), text) - texts.begin();
  };
  EXPECT_LT(position(">~OBEXService"), position("\tterminating server."));
  EXPECT_LT(position("\tterminating server."), position(">~OBEXServer"));
  EXPECT_LT(position(">~OBEXServer"), position("<~OBEXService"));
  EXPECT_EQ(obex.liveHandles(), 0);
}

#ifndef ALLOCATION_IS_THE_SANITIZERS
TEST_F(ServerSwitchingTest, AServerThatCannotBeCreatedIsAnError) {
  OBEXService service;
  LogRecorder log;
  noMemoryWithoutThrowing = true;
  service.OBEXServerEnable(true);
  noMemoryWithoutThrowing = false;
  EXPECT_THAT(log.texts(), ElementsAre(">OBEXServerEnable", "\t\tOBEX Server was set to 1",
                                       "\tOBEX server creation error."));
  EXPECT_THAT(log.texts(2), ElementsAre("\tOBEX server creation error."));
  service.OBEXServerEnable(true);
  ExpectServersStarted(1);
}
#endif

TEST_F(ServerSwitchingTest, AServerThatCannotBeSpawnedIsAbandoned) {
  OBEXService service;
  LogRecorder log;
  {
    NoMoreThreads full;
    service.OBEXServerEnable(true);
  }
  EXPECT_EQ(log.count("\tspawning thread with result 0"), 1);
  EXPECT_TRUE(log.has("<OBEXServerEnable"));
  log.forget();
  service.OBEXServerEnable(false);
  EXPECT_FALSE(log.has("\tkilling thread"));
  EXPECT_FALSE(log.has(">~OBEXServer"));
  service.OBEXServerEnable(true);
  ExpectServersStarted(1);
  EXPECT_EQ(log.count("\tspawning thread with result 1"), 1);
}

}  // namespace
}  // namespace test
