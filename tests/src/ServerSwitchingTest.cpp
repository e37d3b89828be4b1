// Switching the push server on and off.

#include <memory>

#include "src/OBEXServer.h"
#include "tests/src/ServiceFixture.h"

namespace test {
namespace {

class ServerSwitching : public ServiceTest {
 protected:
  ServerSwitching() { recording.forget(); }

  void haveSwitchedOn() {
    service.OBEXServerEnable(true);
    recording.forget();
  }
};

TEST_F(ServerSwitching, ConfiguresTheServerBeforeItSpawnsIt) {
  service.OBEXServerEnable(true);
  recording.expect({">OBEXServerEnable", "\t\tOBEX Server was set to 1", "OBEXServer: >OBEXServer",
                    "OBEXServer: <OBEXServer", "OBEXServer: >setOBEXService",
                    "OBEXServer: >setOBEXService", "OBEXServer: <setOBEXService",
                    "OBEXServer: <setOBEXService", "OBEXServer: >setEnable",
                    "OBEXServer: <setEnable", "spawn OBEXServer '' 1 0 into 0",
                    "\tspawning thread with result 1", "<OBEXServerEnable"});
}

TEST_F(ServerSwitching, DoesNothingWhenTheServerIsOnAlready) {
  haveSwitchedOn();
  service.OBEXServerEnable(true);
  recording.expect({">OBEXServerEnable", "\t\tOBEX Server was set to 1", "<OBEXServerEnable"});
}

TEST_F(ServerSwitching, DoesNothingWhenTheServerIsOffAlready) {
  service.OBEXServerEnable(false);
  recording.expect({">OBEXServerEnable", "\t\tOBEX Server was set to 0", "<OBEXServerEnable"});
}

TEST_F(ServerSwitching, WaitsForTheThreadAndThenDeletesTheServer) {
  haveSwitchedOn();
  service.OBEXServerEnable(false);
  recording.expect({">OBEXServerEnable",
                    "\t\tOBEX Server was set to 0",
                    "\tkilling thread",
                    "OBEXServer: >setEnable",
                    "OBEXServer: <setEnable",
                    "wait for OBEXServer",
                    "OBEXServer: >run",
                    "OBEX_Init 4 0",
                    "OBEX_SetUserData",
                    "BtOBEX_ServerRegister 4",
                    "OBEXServer: \tOBEX Server is running",
                    "OBEX_GetUserData",
                    "OBEX_Cleanup",
                    "sleep 50 ms",
                    "OBEXServer: \tterminating server.",
                    "OBEXServer: <run",
                    "destroy thread 1",
                    "OBEXServer: >~OBEXServer",
                    "OBEXServer: <~OBEXServer",
                    "<OBEXServerEnable"});
}

TEST_F(ServerSwitching, DoesNothingWhenSwitchedOffTwice) {
  haveSwitchedOn();
  service.OBEXServerEnable(false);
  recording.forget();
  service.OBEXServerEnable(false);
  recording.expect({">OBEXServerEnable", "\t\tOBEX Server was set to 0", "<OBEXServerEnable"});
}

TEST_F(ServerSwitching, StartsANewServerOnANewThreadAfterwards) {
  haveSwitchedOn();
  service.OBEXServerEnable(false);
  recording.forget();
  service.OBEXServerEnable(true);
  EXPECT_EQ(recording.count("OBEXServer: >OBEXServer"), 1);
  EXPECT_EQ(recording.count("spawn OBEXServer '' 1 0 into 0"), 1);
  recording.forget();
  service.OBEXServerEnable(false);
  EXPECT_EQ(recording.count("destroy thread 2"), 1);
}

TEST_F(ServerSwitching, StopsTheServerWhenTheServiceIsDestroyed) {
  auto another = std::make_unique<OBEXService>();
  another->OBEXServerEnable(true);
  recording.forget();
  another.reset();
  const Entries entries = recording.entries();
  EXPECT_EQ(entries.front(), ">~OBEXService");
  EXPECT_EQ(entries.back(), "<~OBEXService");
  EXPECT_EQ(recording.count("OBEXServer: <~OBEXServer"), 1);
  EXPECT_EQ(obex.liveHandles(), 0);
}

TEST_F(ServerSwitching, ReportsAServerThatCannotBeCreated) {
  recording.refusesAllocation = true;
  service.OBEXServerEnable(true);
  recording.expect({">OBEXServerEnable", "\t\tOBEX Server was set to 1",
                    "error: \tOBEX server creation error."});
  recording.refusesAllocation = false;
  service.OBEXServerEnable(true);
  EXPECT_EQ(recording.count("\tspawning thread with result 1"), 1);
}

TEST_F(ServerSwitching, AbandonsAServerThatCannotBeSpawned) {
  recording.refusesThreads = true;
  haveSwitchedOn();
  service.OBEXServerEnable(false);
  recording.expect({">OBEXServerEnable", "\t\tOBEX Server was set to 0", "<OBEXServerEnable"});
  service.OBEXServerEnable(true);
  EXPECT_EQ(recording.count("OBEXServer: >OBEXServer"), 1);
  EXPECT_EQ(recording.count("OBEXServer: >~OBEXServer"), 0);
  EXPECT_EQ(recording.count("\tspawning thread with result 0"), 1);
}

TEST_F(ServerSwitching, GivesTheServerTheServiceForItsCards) {
  service.subscribe(&observer);
  service.OBEXServerEnable(true);
  auto* server = dynamic_cast<OBEXServer*>(recording.threads.begin()->first);
  obex.server().request(OBEX_CMD_PUT, {openobex::fake::bodyHeader("N:no card\n")});
  obex.server().call([server] { server->setEnable(false); });
  server->run();
  EXPECT_THAT(observer.calls, ::testing::ElementsAre("vCardError(, 1)"));
}

}  // namespace
}  // namespace test
