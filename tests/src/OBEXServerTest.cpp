// The push server's thread: opening, registering, serving, starting over.

#include "src/OBEXServer.h"

#include <chrono>

#include "framework/GPALThreadPriority.h"
#include "framework/Threader.h"
#include "tests/openobex/FakeOpenObex.h"
#include "tests/src/ServiceFixture.h"

namespace test {
namespace {

using openobex::fake::FakeOpenObex;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::string kInitFailed = "\tOBEX_Init failed.";
const std::string kGivenUp = "\tOBEX_Init failed. - maximum of attempts reached, exitting ...";

std::string RegisterError(int left) {
  return "\tOBEX Server register error! (Bluetooth) - register attempt left: " +
         std::to_string(left);
}

class OBEXServerTest : public ::testing::Test {
 protected:
  void Spawn() {
    unsigned long id = 0;
    ASSERT_TRUE(Threader().spawn(id, &server, "", GPALThreadPriority(1), 0));
  }
  void StopAndWait() {
    server.setEnable(false);
    server.waitForThreadCompletion();
  }
  std::vector<std::string> Functions() {
    std::vector<std::string> names;
    for (const auto& call : obex.calls()) names.push_back(call.function);
    return names;
  }

  FakeOpenObex obex;
  OBEXServer server;
};

TEST_F(OBEXServerTest, OpensRegistersAndServesUntilDisabled) {
  LogRecorder log;
  Spawn();
  ASSERT_TRUE(obex.waitForCalls("OBEX_HandleInput", 2));
  StopAndWait();
  const std::vector<std::string> functions = Functions();
  EXPECT_THAT(std::vector<std::string>(functions.begin(), functions.begin() + 5),
              ElementsAre("OBEX_Init", "OBEX_SetUserData", "BtOBEX_ServerRegister",
                          "OBEX_GetUserData", "OBEX_HandleInput"));
  EXPECT_EQ(functions.back(), "OBEX_Cleanup");
  EXPECT_EQ(obex.calls("OBEX_Init").front().numbers.front(), OBEX_TRANS_BLUETOOTH);
  EXPECT_EQ(obex.calls("BtOBEX_ServerRegister").front().numbers, std::vector<std::int64_t>{4});
  EXPECT_EQ(obex.calls("OBEX_HandleInput").front().numbers, std::vector<std::int64_t>{1});
  EXPECT_EQ(log.count("\tOBEX Server is running"), 1);
  EXPECT_EQ(log.texts().back(), "<run");
  EXPECT_TRUE(log.has("\tterminating server."));
}

TEST_F(OBEXServerTest, TheLineOnStandardOutputComesWithTracingOff) {
  ::testing::internal::CaptureStdout();
  Spawn();
  ASSERT_TRUE(obex.waitForCalls("OBEX_HandleInput"));
  StopAndWait();
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "OBEX SERVER IS RUNNING\n");
}

TEST_F(OBEXServerTest, DisabledBeforeItServesItOpensAndClosesOnce) {
  server.setEnable(false);
  server.run();
  EXPECT_EQ(obex.calls("BtOBEX_ServerRegister").size(), 1U);
  EXPECT_THAT(obex.calls("OBEX_HandleInput"), IsEmpty());
  EXPECT_EQ(obex.calls("OBEX_Cleanup").size(), 1U);
}

TEST_F(OBEXServerTest, AFailingInitIsTriedAgainEvery50MillisecondsWithoutEnd) {
  obex.failInit(6);
  LogRecorder log;
  const auto began = std::chrono::steady_clock::now();
  server.setEnable(false);
  server.run();
  EXPECT_GE(std::chrono::steady_clock::now() - began, std::chrono::milliseconds(6 * 50));
  EXPECT_THAT(log.texts(2), ElementsAre(kInitFailed, kInitFailed, kInitFailed, kInitFailed,
                                        kInitFailed, kInitFailed));
  EXPECT_EQ(obex.calls("OBEX_Cleanup").size(), 7U);
  EXPECT_EQ(obex.calls("OBEX_Cleanup").front().handle, 0);
}

TEST_F(OBEXServerTest, DisablingDoesNotEndAServerThatKeepsFailing) {
  obex.failInit(FakeOpenObex::kForever);
  Spawn();
  ASSERT_TRUE(obex.waitForCalls("OBEX_Init", 2));
  server.setEnable(false);
  ASSERT_TRUE(obex.waitForCalls("OBEX_Init", 5));
  obex.failInit(0);
  server.waitForThreadCompletion();
  EXPECT_EQ(obex.calls("BtOBEX_ServerRegister").size(), 1U);
}

TEST_F(OBEXServerTest, RegistrationIsTriedTenTimesAtOnce) {
  obex.failRegister(10);
  LogRecorder log;
  server.setEnable(false);
  server.run();
  std::vector<std::string> expected;
  for (int left = 9; left >= 0; --left) expected.push_back(RegisterError(left));
  expected.push_back(kInitFailed);
  EXPECT_EQ(log.texts(2), expected);
  EXPECT_EQ(obex.calls("OBEX_Init").size(), 2U);
  EXPECT_EQ(obex.calls("BtOBEX_ServerRegister").size(), 11U);
}

TEST_F(OBEXServerTest, WithoutFurtherAttemptsOneCycleIsAll) {
  obex.failInit(FakeOpenObex::kForever);
  server.setInitAttempts(10, 0);
  LogRecorder log;
  server.run();
  EXPECT_THAT(log.texts(2), ElementsAre(kGivenUp));
  EXPECT_THAT(log.texts(), ElementsAre(">run", kGivenUp));
  EXPECT_EQ(obex.calls("OBEX_Init").size(), 1U);
}

TEST_F(OBEXServerTest, NFurtherAttemptsAreNPlusOneCycles) {
  obex.failRegister(FakeOpenObex::kForever);
  server.setInitAttempts(1, 2);
  LogRecorder log;
  server.run();
  EXPECT_THAT(log.texts(2), ElementsAre(RegisterError(0), kInitFailed, RegisterError(0),
                                        kInitFailed, RegisterError(0), kGivenUp));
  EXPECT_EQ(obex.calls("OBEX_Init").size(), 3U);
  EXPECT_EQ(obex.liveHandles(), 0);
}

TEST_F(OBEXServerTest, ARegisterBudgetBelowOneIsStillOneTry) {
  obex.failRegister(FakeOpenObex::kForever);
  server.setInitAttempts(0, 0);
  LogRecorder log;
  server.run();
  EXPECT_THAT(log.texts(2), ElementsAre(RegisterError(-1), kGivenUp));
  server.setInitAttempts(-5, 0);
  server.run();
  EXPECT_THAT(log.texts(2), Contains(RegisterError(-6)));
  EXPECT_EQ(obex.calls("BtOBEX_ServerRegister").size(), 2U);
}

TEST_F(OBEXServerTest, ALinkErrorOpensAndRegistersAnew) {
  obex.server().linkError();
  LogRecorder log;
  Spawn();
  ASSERT_TRUE(obex.waitForCalls("BtOBEX_ServerRegister", 2));
  ASSERT_TRUE(obex.waitForCalls("OBEX_HandleInput", 2));
  StopAndWait();
  EXPECT_EQ(log.count("\tOBEX_EV_LINKERR"), 1);
  EXPECT_EQ(log.count("\treseting server."), 1);
  EXPECT_EQ(log.count("\tterminating server."), 1);
  EXPECT_THAT(log.texts(2), IsEmpty());
  EXPECT_EQ(obex.liveHandles(), 0);
}

TEST_F(OBEXServerTest, AResetIsNoFailureAndReloadsTheRegisterBudget) {
  server.setInitAttempts(2, 0);
  obex.server().linkError().call([this] { obex.failRegister(1); }).linkError().linkError();
  obex.server().call([this] { server.setEnable(false); });
  LogRecorder log;
  server.run();
  EXPECT_THAT(log.texts(2), ElementsAre(RegisterError(1)));
  EXPECT_EQ(log.count("\treseting server."), 3);
}

TEST_F(OBEXServerTest, DisabledInsideALinkErrorItStillOpensOnceMore) {
  openobex::fake::Input input;
  input.hook = [this] { server.setEnable(false); };
  input.events = {{.event = OBEX_EV_LINKERR, .withoutObject = true}};
  input.result = -1;
  obex.server().input(input);
  LogRecorder log;
  server.run();
  EXPECT_EQ(obex.calls("BtOBEX_ServerRegister").size(), 2U);
  EXPECT_EQ(obex.calls("OBEX_HandleInput").size(), 1U);
  EXPECT_EQ(log.texts().back(), "<run");
}

TEST_F(OBEXServerTest, ErrorsAndTimeOutsOfTheInputDoNotEndTheLoop) {
  obex.server().fail(-1).timeOut().fail(-7);
  obex.server().call([this] { server.setEnable(false); });
  server.run();
  EXPECT_EQ(obex.calls("OBEX_HandleInput").size(), 4U);
  EXPECT_EQ(obex.calls("OBEX_Init").size(), 1U);
}

TEST_F(OBEXServerTest, EventsWithoutAHandlerAreTracedAndIgnored) {
  for (const int event : {3, 5, 6, 7, 8, 9, 10, 12, 0x99}) {
    obex.server().deliver({.event = event});
  }
  obex.server().call([this] { server.setEnable(false); });
  LogRecorder log;
  server.run();
  for (const char* code : {"03", "05", "06", "07", "08", "09", "0a", "0c", "99"}) {
    EXPECT_EQ(log.count("\tUnhandled event " + std::string(code) + "!"), 1) << code;
  }
  EXPECT_EQ(log.count(">handleObexEvent"), 9);
  EXPECT_EQ(log.count("<handleObexEvent"), 9);
  EXPECT_THAT(obex.responses(), IsEmpty());
}

TEST(OBEXServerLifeTest, ConstructionAndDestructionAreTraced) {
  FakeOpenObex obex;
  LogRecorder log;
  { OBEXServer server; }
  EXPECT_THAT(log.lines(),
              ElementsAre(RecordedLine{"OBEX Service", "./src/OBEXServer.cpp", 5, ">OBEXServer"},
                          RecordedLine{"OBEX Service", "./src/OBEXServer.cpp", 5, "<OBEXServer"},
                          RecordedLine{"OBEX Service", "./src/OBEXServer.cpp", 5, ">~OBEXServer"},
                          RecordedLine{"OBEX Service", "./src/OBEXServer.cpp", 5, "<~OBEXServer"}));
  EXPECT_THAT(obex.calls(), IsEmpty());
}

}  // namespace
}  // namespace test
