#include "tests/openobex/FakeOpenObex.h"

#include <gmock/gmock.h>
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace openobex::fake {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

/// What the callback heard: the event and, as text, the headers that it found.
struct Heard {
  int event;
  std::string headers;
  int response = 0;
};

class FakeOpenObexTest : public ::testing::Test {
 protected:
  void SetUp() override { s_test = this; }
  void TearDown() override { s_test = nullptr; }

  void** Open() {
    void** handle = OBEX_Init(OBEX_TRANS_BLUETOOTH, &FakeOpenObexTest::Hear, 0);
    return handle;
  }

  void** OpenServer() {
    void** handle = Open();
    EXPECT_EQ(BtOBEX_ServerRegister(handle, nullptr, 4), 0);
    return handle;
  }

  static void Hear(void** handle, void** object, int /*mode*/, int event, int /*command*/,
                   int response) {
    Heard heard{event, {}, response};
    std::uint8_t identifier = 0;
    obex_headerdata_t value;
    std::uint32_t size = 0;
    while (object != nullptr &&
           OBEX_ObjectGetNextHeader(handle, object, &identifier, &value, &size) == 1) {
      heard.headers += std::to_string(identifier) + "/" + std::to_string(size) + " ";
    }
    if (event == s_test->m_refuseAt) OBEX_ObjectSetRsp(object, 0x4F, 0x4F);
    s_test->m_heard.push_back(heard);
  }

  std::vector<int> Events() const {
    std::vector<int> events;
    for (const Heard& heard : m_heard) events.push_back(heard.event);
    return events;
  }

  FakeOpenObex m_obex;
  std::vector<Heard> m_heard;
  int m_refuseAt = -1;

 private:
  static inline FakeOpenObexTest* s_test = nullptr;
};

TEST_F(FakeOpenObexTest, InitFailsAsOftenAsTold) {
  m_obex.failInit(2);
  EXPECT_EQ(Open(), nullptr);
  EXPECT_EQ(Open(), nullptr);
  EXPECT_NE(Open(), nullptr);
  EXPECT_EQ(m_obex.liveHandles(), 1);
}

TEST_F(FakeOpenObexTest, RegistrationFailsForEverUntilToldOtherwise) {
  void** handle = Open();
  m_obex.failRegister(FakeOpenObex::kForever, -7);
  for (int i = 0; i < 5; ++i) EXPECT_EQ(BtOBEX_ServerRegister(handle, nullptr, 4), -7);
  m_obex.failRegister(0);
  EXPECT_EQ(BtOBEX_ServerRegister(handle, nullptr, 4), 0);
}

TEST_F(FakeOpenObexTest, RecordsCallsInOrderWithArguments) {
  void** handle = OpenServer();
  OBEX_HandleInput(handle, 1);
  OBEX_Cleanup(handle);
  OBEX_Cleanup(nullptr);
  std::vector<std::string> texts;
  for (const Call& call : m_obex.calls()) texts.push_back(call.text());
  EXPECT_THAT(texts, ElementsAre("OBEX_Init(4, 0)", "BtOBEX_ServerRegister(handle 1, 4)",
                                 "OBEX_HandleInput(handle 1, 1)", "OBEX_Cleanup(handle 1)",
                                 "OBEX_Cleanup()"));
  EXPECT_EQ(m_obex.liveHandles(), 0);
}

TEST_F(FakeOpenObexTest, YieldsTheHeadersOfEachEventOnce) {
  m_obex.server().deliver(
      {.event = OBEX_EV_REQ,
       .command = OBEX_CMD_PUT,
       .headers = {bodyHeader("abc"), nameHeader("x.vcf"), numberHeader(OBEX_HDR_LENGTH, 3)}});
  void** handle = OpenServer();
  EXPECT_EQ(OBEX_HandleInput(handle, 1), 1);
  ASSERT_EQ(m_heard.size(), 1U);
  EXPECT_EQ(m_heard[0].headers, "72/3 1/12 195/4 ");
}

TEST_F(FakeOpenObexTest, PlaysARequestAsTheLibraryDoes) {
  m_obex.server().request(OBEX_CMD_PUT, {nameHeader("x.vcf"), bodyHeader("abc")});
  OBEX_HandleInput(OpenServer(), 1);
  EXPECT_THAT(Events(), ElementsAre(OBEX_EV_REQHINT, OBEX_EV_REQCHECK, OBEX_EV_REQ,
                                    OBEX_EV_PROGRESS, OBEX_EV_REQDONE));
  EXPECT_EQ(m_heard[1].headers, "1/12 ");
  EXPECT_EQ(m_heard[2].headers, "1/12 72/3 ");
  EXPECT_EQ(m_heard[3].headers, "");
}

TEST_F(FakeOpenObexTest, ARefusedRequestNeverBecomesComplete) {
  m_refuseAt = OBEX_EV_REQCHECK;
  m_obex.server().request(OBEX_CMD_PUT, {nameHeader("x.jpg"), bodyHeader("abc")});
  OBEX_HandleInput(OpenServer(), 1);
  EXPECT_THAT(Events(),
              ElementsAre(OBEX_EV_REQHINT, OBEX_EV_REQCHECK, OBEX_EV_PROGRESS, OBEX_EV_REQDONE));
  EXPECT_THAT(m_obex.responses(), ElementsAre(Pair(0x4F, 0x4F)));
}

TEST_F(FakeOpenObexTest, AnswersTheClientsRequestInFlight) {
  m_obex.client().answer(OBEX_RSP_SUCCESS);
  void** handle = Open();
  void** object = OBEX_ObjectNew(handle, OBEX_CMD_CONNECT);
  EXPECT_EQ(OBEX_Request(handle, object), 0);
  EXPECT_EQ(OBEX_HandleInput(handle, 10), 1);
  EXPECT_THAT(Events(), ElementsAre(OBEX_EV_REQDONE));
  EXPECT_EQ(m_heard[0].response, OBEX_RSP_SUCCESS);
  EXPECT_EQ(OBEX_HandleInput(handle, 10), 0);
}

TEST_F(FakeOpenObexTest, AnswersEveryRequestWhenToldSo) {
  m_obex.client().answerAlways(OBEX_RSP_FORBIDDEN);
  void** handle = Open();
  for (const int command : {OBEX_CMD_CONNECT, OBEX_CMD_PUT}) {
    OBEX_Request(handle, OBEX_ObjectNew(handle, static_cast<std::uint8_t>(command)));
    EXPECT_EQ(OBEX_HandleInput(handle, 10), 1);
  }
  EXPECT_EQ(m_heard.size(), 2U);
  EXPECT_EQ(m_obex.liveObjects(), 0);
}

TEST_F(FakeOpenObexTest, RecordsTheBytesOfHeaders) {
  void** handle = Open();
  void** object = OBEX_ObjectNew(handle, OBEX_CMD_PUT);
  obex_headerdata_t value;
  value.bq4 = 258;
  EXPECT_EQ(OBEX_ObjectAddHeader(handle, object, OBEX_HDR_LENGTH, value, 4, 0), 1);
  value.bs = reinterpret_cast<const std::uint8_t*>("vCard");
  EXPECT_EQ(OBEX_ObjectAddHeader(handle, object, OBEX_HDR_TYPE, value, 5, 0), 1);
  const std::vector<Header> headers = m_obex.headersOfCommand(OBEX_CMD_PUT);
  ASSERT_EQ(headers.size(), 2U);
  EXPECT_EQ(headers[0].value, std::string("\0\0\1\2", 4));
  EXPECT_EQ(headers[1].value, "vCard");
}

TEST_F(FakeOpenObexTest, RefusesANegativeLengthWithoutReadingTheValue) {
  void** handle = Open();
  void** object = OBEX_ObjectNew(handle, OBEX_CMD_PUT);
  const std::uint8_t byte = 0;
  obex_headerdata_t value;
  value.bs = &byte;
  EXPECT_LT(
      OBEX_ObjectAddHeader(handle, object, OBEX_HDR_NAME, value, static_cast<std::uint32_t>(-1), 0),
      0);
  EXPECT_THAT(m_obex.headersOfCommand(OBEX_CMD_PUT), IsEmpty());
}

TEST_F(FakeOpenObexTest, ALinkErrorAndAResultComeTogether) {
  m_obex.server().linkError(-1);
  EXPECT_EQ(OBEX_HandleInput(OpenServer(), 1), -1);
  EXPECT_THAT(Events(), ElementsAre(OBEX_EV_LINKERR));
}

TEST_F(FakeOpenObexTest, ATimeOutIsZero) {
  m_obex.client().timeOut().fail(-3);
  void** handle = Open();
  EXPECT_EQ(OBEX_HandleInput(handle, 10), 0);
  EXPECT_EQ(OBEX_HandleInput(handle, 10), -3);
}

TEST_F(FakeOpenObexTest, HooksRunInsideTheCall) {
  bool inside = false;
  m_obex.server().call([&] { inside = true; });
  OBEX_HandleInput(OpenServer(), 1);
  EXPECT_TRUE(inside);
}

TEST_F(FakeOpenObexTest, HoldsAThreadInsideUntilItIsLetGo) {
  std::atomic<bool> left{false};
  m_obex.server().block();
  std::thread thread([&] {
    OBEX_HandleInput(OpenServer(), 1);
    left = true;
  });
  EXPECT_TRUE(m_obex.server().waitUntilBlocked());
  EXPECT_FALSE(left);
  m_obex.server().unblock();
  thread.join();
  EXPECT_TRUE(left);
}

TEST_F(FakeOpenObexTest, WaitsForACallOfAnotherThread) {
  std::thread thread([&] { OBEX_Cleanup(OpenServer()); });
  EXPECT_TRUE(m_obex.waitForCalls("OBEX_Cleanup"));
  EXPECT_TRUE(m_obex.waitUntil([&] { return m_obex.liveHandles() == 0; }));
  thread.join();
}

TEST_F(FakeOpenObexTest, AHandleUsedAfterItsCleanUpFailsTheTest) {
  void** handle = Open();
  OBEX_Cleanup(handle);
  EXPECT_NONFATAL_FAILURE(OBEX_GetUserData(handle), "after its clean-up");
}

}  // namespace
}  // namespace openobex::fake
