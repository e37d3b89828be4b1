// The push server's thread: opening, registering, serving, starting over.

#include "src/OBEXServer.h"

#include <stdio_ext.h>

#include <optional>

#include "tests/src/ServiceFixture.h"

namespace test {
namespace {

const std::string kInitFailed = "error: \tOBEX_Init failed.";
const std::string kGivenUp =
    "error: \tOBEX_Init failed. - maximum of attempts reached, exitting ...";

std::string registerError(int left) {
  return "error: \tOBEX Server register error! (Bluetooth) - register attempt left: " +
         std::to_string(left);
}

class PushServer : public ::testing::Test {
 protected:
  PushServer() {
    recording.listenTo(obex);
    server.emplace();
    recording.forget();
  }

  void disable() {
    server->setEnable(false);
    recording.forget();
  }
  /// The last call of the input loop switches the server off.
  void endWithDisable() {
    obex.server().call([this] { server->setEnable(false); });
  }
  void expectRun(const std::vector<Entries>& parts) { recording.expect(joined(parts)); }

  const Entries kOpen = {"OBEX_Init 4 0", "OBEX_SetUserData", "BtOBEX_ServerRegister 4",
                         "\tOBEX Server is running", "OBEX_GetUserData"};
  const Entries kInput = {"OBEX_HandleInput 1"};
  const Entries kDisable = {"OBEX_HandleInput 1", ">setEnable", "<setEnable"};
  const Entries kLinkError = {"OBEX_HandleInput 1", ">handleObexEvent", "\tOBEX_EV_LINKERR",
                              "OBEX_GetUserData", "<handleObexEvent"};
  const Entries kClose = {"OBEX_Cleanup", "sleep 50 ms"};
  const Entries kReset = {"\treseting server."};
  const Entries kEnd = {"\tterminating server.", "<run"};
  const Entries kFailedInit = {"OBEX_Init 4 0", "OBEX_Cleanup null", kInitFailed, "sleep 50 ms"};

  Recording recording{"OBEXServer"};
  openobex::fake::FakeOpenObex obex;
  std::optional<OBEXServer> server;
};

TEST_F(PushServer, TakesInputUntilItIsDisabled) {
  obex.server().timeOut().fail(-1).fail(-7);
  endWithDisable();
  server->run();
  expectRun({{">run"}, kOpen, kInput, kInput, kInput, kDisable, kClose, kEnd});
  EXPECT_EQ(obex.liveHandles(), 0);
}

TEST_F(PushServer, AnnouncesItselfOnStandardOutput) {
  disable();
  setLogLevel(kLogError);
  ::testing::internal::CaptureStdout();
  server->run();
  EXPECT_EQ(__fpending(stdout), 0U) << "not flushed";
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "OBEX SERVER IS RUNNING\n");
}

TEST_F(PushServer, TakesNoInputWhenDisabledBefore) {
  disable();
  server->run();
  expectRun({{">run"}, kOpen, kClose, kEnd});
}

TEST_F(PushServer, ServesWhenEnabledAgain) {
  server->setEnable(false);
  server->setEnable(true);
  endWithDisable();
  recording.forget();
  server->run();
  expectRun({{">run"}, kOpen, kDisable, kClose, kEnd});
}

TEST_F(PushServer, RetriesAFailedInitWithoutEndAlsoWhenDisabled) {
  obex.failInit(13);
  disable();
  server->run();
  std::vector<Entries> parts(13, kFailedInit);
  parts.insert(parts.begin(), Entries{">run"});
  parts.insert(parts.end(), {kOpen, kClose, kEnd});
  expectRun(parts);
}

TEST_F(PushServer, TriesToRegisterTenTimesWithoutAPause) {
  obex.failRegister(10);
  disable();
  server->run();
  Entries tries = {">run", "OBEX_Init 4 0", "OBEX_SetUserData"};
  for (int left = 9; left >= 0; --left) {
    tries.insert(tries.end(), {"BtOBEX_ServerRegister 4", registerError(left)});
  }
  expectRun({tries, {"OBEX_Cleanup", kInitFailed, "sleep 50 ms"}, kOpen, kClose, kEnd});
}

TEST_F(PushServer, ServesWhenALaterRegistrationSucceeds) {
  obex.failRegister(9);
  disable();
  server->run();
  EXPECT_EQ(recording.count("OBEX_Init 4 0"), 1);
  EXPECT_EQ(recording.count("\tOBEX Server is running"), 1);
}

TEST_F(PushServer, GivesUpAfterOneFailedInitWithoutFurtherAttempts) {
  obex.failInit(openobex::fake::FakeOpenObex::kForever);
  server->setInitAttempts(10, 0);
  server->run();
  recording.expect({">run", "OBEX_Init 4 0", "OBEX_Cleanup null", kGivenUp});
}

TEST_F(PushServer, GivesUpAfterTheFurtherAttemptsHaveFailed) {
  obex.failRegister(openobex::fake::FakeOpenObex::kForever);
  server->setInitAttempts(1, 2);
  server->run();
  const Entries cycle = {"OBEX_Init 4 0", "OBEX_SetUserData", "BtOBEX_ServerRegister 4",
                         registerError(0), "OBEX_Cleanup"};
  const Entries retry = {kInitFailed, "sleep 50 ms"};
  expectRun({{">run"}, cycle, retry, cycle, retry, cycle, {kGivenUp}});
}

TEST_F(PushServer, TriesToRegisterOnceWithABudgetBelowOne) {
  obex.failRegister(openobex::fake::FakeOpenObex::kForever);
  for (const int budget : {0, -5}) {
    server->setInitAttempts(budget, 0);
    server->run();
    recording.expect({">run", "OBEX_Init 4 0", "OBEX_SetUserData", "BtOBEX_ServerRegister 4",
                      registerError(budget - 1), "OBEX_Cleanup", kGivenUp});
  }
}

TEST_F(PushServer, OpensAndRegistersAnewAfterALinkError) {
  obex.server().linkError();
  endWithDisable();
  server->run();
  expectRun({{">run"}, kOpen, kLinkError, kClose, kReset, kOpen, kDisable, kClose, kEnd});
}

TEST_F(PushServer, ReloadsTheRegisterBudgetAndCountsNoFailureOnAReset) {
  server->setInitAttempts(2, 0);
  obex.server().linkError().call([this] { obex.failRegister(1); }).linkError().linkError();
  endWithDisable();
  server->run();
  EXPECT_EQ(recording.count(registerError(1)), 1);
  EXPECT_EQ(recording.count("\treseting server."), 3);
  EXPECT_EQ(recording.entries().back(), "<run");
}

TEST_F(PushServer, CountsNoFailureWhenTheLinkBreaks) {
  server->setInitAttempts(1, 1);
  obex.server().call([this] { obex.failInit(1); }).linkError();
  endWithDisable();
  server->run();
  EXPECT_EQ(recording.count(kInitFailed), 1);
  EXPECT_EQ(recording.entries().back(), "<run");
}

TEST_F(PushServer, RemembersFailuresWhenTheLinkBreaks) {
  server->setInitAttempts(1, 1);
  obex.failInit(1);
  obex.server().linkError().call([this] { obex.failInit(2); }).linkError();
  server->run();
  EXPECT_EQ(recording.count(kInitFailed), 1);
  EXPECT_EQ(recording.entries().back(), kGivenUp);
}

TEST_F(PushServer, OpensOnceMoreWhenDisabledInsideALinkError) {
  openobex::fake::Input input;
  input.hook = [this] { server->setEnable(false); };
  input.events = {{.event = OBEX_EV_LINKERR, .withoutObject = true}};
  obex.server().input(input);
  server->run();
  EXPECT_EQ(recording.count("BtOBEX_ServerRegister 4"), 2);
  EXPECT_EQ(recording.count("OBEX_HandleInput 1"), 1);
  EXPECT_EQ(recording.entries().back(), "<run");
}

TEST_F(PushServer, TracesEventsWithoutAHandler) {
  const std::vector<std::pair<int, std::string>> events = {{3, "03"},  {5, "05"},  {6, "06"},
                                                           {7, "07"},  {8, "08"},  {9, "09"},
                                                           {10, "0a"}, {12, "0c"}, {0x99, "99"}};
  std::vector<Entries> parts = {{">run"}, kOpen};
  for (const auto& [event, code] : events) {
    obex.server().deliver({.event = event});
    parts.push_back({"OBEX_HandleInput 1", ">handleObexEvent", "\tUnhandled event " + code + "!",
                     "<handleObexEvent"});
  }
  endWithDisable();
  server->run();
  parts.insert(parts.end(), {kDisable, kClose, kEnd});
  expectRun(parts);
}

TEST_F(PushServer, OwnsItsEventHandler) {
  recording.watch(OBEXServer::m_obexEventHandler, "event handler");
  server.reset();
  recording.expect({">~OBEXServer", "delete event handler", "<~OBEXServer"});
  EXPECT_EQ(OBEXServer::m_obexEventHandler, nullptr);
  server.emplace();
  recording.expect({">OBEXServer", "<OBEXServer"});
  EXPECT_NE(OBEXServer::m_obexEventHandler, nullptr);
}

TEST_F(PushServer, LogsUnderItsComponentAndSource) {
  class Line : public LogSink {
   public:
    Line() { addLogSink(this); }
    ~Line() override { removeLogSink(this); }
    void write(const LogLine& line) override {
      place = std::string(line.component) + "|" + std::string(line.source);
    }
    std::string place;
  } line;
  server->setEnable(true);
  EXPECT_EQ(line.place, "OBEX Service|./src/OBEXServer.cpp");
}

}  // namespace
}  // namespace test
