// The server side of the layer with the real library; the tests play the peer, over the virtual
// radio.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <csignal>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tests/openobex/LinkSupport.h"
#include "tests/openobex/Packets.h"
#include "tests/support/WaitFor.h"

namespace openobex {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;

constexpr int kNoEvent = -1;

/// A server that responds as the service does and records each event with its headers.
class ServerTest : public ::testing::Test {
 protected:
  ServerTest() { Open(); }
  ~ServerTest() override { Stop(); }

  void Open() {
    m_handle = OBEX_Init(OBEX_TRANS_BLUETOOTH, &ServerTest::OnEvent, 0);
    OBEX_SetUserData(m_handle, this);
    ASSERT_GE(BtOBEX_ServerRegister(m_handle, nullptr, kChannel), 0);
    m_stop = false;
    m_thread = std::thread([this] {
      while (!m_stop) m_lastResult = OBEX_HandleInput(m_handle, 1);
    });
  }
  void Stop() {
    m_stop = true;
    if (m_thread.joinable()) m_thread.join();
    OBEX_Cleanup(m_handle);
    m_handle = nullptr;
  }
  std::unique_ptr<Peer> Connect() {
    const int socket = ::socket(AF_BLUETOOTH, SOCK_STREAM, BTPROTO_RFCOMM);
    const sockaddr_rc address = phoneAddress();
    EXPECT_EQ(connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    return std::make_unique<Peer>(socket);
  }
  std::vector<std::string> Events() {
    const std::lock_guard lock(m_mutex);
    return m_events;
  }
  /// Has `onEvent` called with each event, on the server's thread.
  void SetOnEvent(std::function<void(int event, void** object)> onEvent) {
    const std::lock_guard lock(m_mutex);
    m_onEvent = std::move(onEvent);
  }
  std::string Body() {
    const std::lock_guard lock(m_mutex);
    return m_body;
  }
  bool WaitForEvent(const std::string& event) {
    return test::waitFor([&] {
      const std::vector<std::string> events = Events();
      return std::find(events.begin(), events.end(), event) != events.end();
    });
  }
  void ExpectLinkEnds(const std::string& bytes) {
    const auto peer = Connect();
    peer->Send(bytes);
    EXPECT_TRUE(WaitForEvent("LINKERR"));
    EXPECT_TRUE(peer->IsClosed());
  }

  RecordingRadioLink radioLink;
  /// The event to refuse.
  std::atomic<int> refuseAt = kNoEvent;
  /// The event whose headers are not read.
  std::atomic<int> ignoreHeadersAt = kNoEvent;
  std::atomic<bool> responds = true;

  std::thread m_thread;

 private:
  static void OnEvent(void** handle, void** object, int mode, int event, int command, int) {
    static_cast<ServerTest*>(OBEX_GetUserData(handle))->Keep(handle, object, mode, event, command);
  }
  void Keep(void** handle, void** object, int mode, int event, int command) {
    EXPECT_EQ(mode, OBEX_MODE_SERVER);
    std::string text = eventName(event);
    const bool yields =
        event == OBEX_EV_REQCHECK || event == OBEX_EV_REQ || event == OBEX_EV_PROGRESS;
    if (yields && ignoreHeadersAt != event) text += Headers(handle, object);
    std::function<void(int, void**)> onEvent;
    {
      const std::lock_guard lock(m_mutex);
      m_events.push_back(text);
      onEvent = m_onEvent;
    }
    if (onEvent) onEvent(event, object);
    if (refuseAt == event) {
      OBEX_ObjectSetRsp(object, OBEX_RSP_UNSUPPORTED_MEDIA_TYPE, OBEX_RSP_UNSUPPORTED_MEDIA_TYPE);
    } else if (event == OBEX_EV_REQHINT && command == OBEX_CMD_GET) {
      OBEX_ObjectSetRsp(object, OBEX_RSP_NOT_IMPLEMENTED, OBEX_RSP_NOT_IMPLEMENTED);
    } else if (yields && responds) {
      OBEX_ObjectSetRsp(object, OBEX_RSP_CONTINUE, OBEX_RSP_SUCCESS);
    }
  }
  std::string Headers(void** handle, void** object) {
    std::string text;
    std::uint8_t identifier = 0;
    obex_headerdata_t value{};
    std::uint32_t size = 0;
    while (OBEX_ObjectGetNextHeader(handle, object, &identifier, &value, &size) > 0) {
      char part[32];
      std::snprintf(part, sizeof part, " %02x/%u", identifier, size);
      text += part;
      if (identifier != OBEX_HDR_BODY) continue;
      const std::lock_guard lock(m_mutex);
      m_body.assign(reinterpret_cast<const char*>(value.bs), value.bs == nullptr ? 0 : size);
    }
    return text;
  }

  Radio m_radio;
  void** m_handle = nullptr;
  std::atomic<bool> m_stop = false;
  std::atomic<int> m_lastResult = 0;
  std::mutex m_mutex;
  std::vector<std::string> m_events;
  std::string m_body;
  std::function<void(int event, void** object)> m_onEvent;
};

TEST_F(ServerTest, AcceptsConnectPutAndDisconnect) {
  const auto peer = Connect();
  peer->Send(kConnect);
  EXPECT_EQ(peer->ReceiveCode(), 0xA0);
  peer->Send(packet(0x82, nameHeader("a.vcf") + header(OBEX_HDR_BODY_END, "body")));
  EXPECT_EQ(peer->ReceiveCode(), 0xA0);
  peer->Send(packet(0x81));
  EXPECT_EQ(peer->ReceiveCode(), 0xA0);
}

TEST_F(ServerTest, YieldsTheHeadersOfConnectAtCheckAndAtRequest) {
  const auto peer = Connect();
  peer->Send(packet(0x80, std::string("\x10\0\xFF\xFF", 4) + header(OBEX_HDR_WHO, "w") +
                              header(OBEX_HDR_TARGET, "target")));
  peer->ReceiveCode();
  ASSERT_TRUE(WaitForEvent("REQDONE"));
  EXPECT_THAT(Events(),
              ElementsAre("REQHINT", "REQCHECK 4a/1 46/6", "REQ 4a/1 46/6", "PROGRESS", "REQDONE"));
}

TEST_F(ServerTest, YieldsTheBodyOfAOnePacketPutAtRequestOnly) {
  const auto peer = Connect();
  peer->Send(packet(
      0x82, nameHeader("a.vcf") + header(OBEX_HDR_TYPE, "t") + header(OBEX_HDR_BODY_END, "body")));
  peer->ReceiveCode();
  ASSERT_TRUE(WaitForEvent("REQDONE"));
  EXPECT_THAT(Events(), ElementsAre("REQHINT", "REQCHECK 01/12 42/1", "REQ 01/12 42/1 48/4",
                                    "PROGRESS", "REQDONE"));
  EXPECT_EQ(Body(), "body");
}

TEST_F(ServerTest, YieldsHeadersAsTheyArriveAndTheWholeBodyAtTheEnd) {
  const auto peer = Connect();
  peer->Send(packet(0x02, nameHeader("a.vcf") + header(OBEX_HDR_BODY, "one ")));
  EXPECT_EQ(peer->ReceiveCode(), 0x90);
  peer->Send(packet(0x02, header(OBEX_HDR_TYPE, "t") + header(OBEX_HDR_BODY, "two ")));
  EXPECT_EQ(peer->ReceiveCode(), 0x90);
  peer->Send(packet(0x82, header(OBEX_HDR_BODY_END, "three")));
  EXPECT_EQ(peer->ReceiveCode(), 0xA0);
  ASSERT_TRUE(WaitForEvent("REQDONE"));
  EXPECT_THAT(Events(), ElementsAre("REQHINT", "REQCHECK 01/12", "PROGRESS 01/12", "PROGRESS 42/1",
                                    "REQ 48/13", "PROGRESS", "REQDONE"));
  EXPECT_EQ(Body(), "one two three");
}

TEST_F(ServerTest, YieldsABodyWithoutEndOfBody) {
  const auto peer = Connect();
  peer->Send(packet(0x82, nameHeader("a.vcf") + header(OBEX_HDR_BODY, "body")));
  EXPECT_EQ(peer->ReceiveCode(), 0xA0);
  ASSERT_TRUE(WaitForEvent("REQDONE"));
  EXPECT_THAT(Events(),
              ElementsAre("REQHINT", "REQCHECK 01/12", "REQ 01/12 48/4", "PROGRESS", "REQDONE"));
  EXPECT_EQ(Body(), "body");
}

TEST_F(ServerTest, YieldsABodyOfSeveralPacketsWithoutEndOfBody) {
  const auto peer = Connect();
  peer->Send(packet(0x02, nameHeader("a.vcf") + header(OBEX_HDR_BODY, "one ")));
  EXPECT_EQ(peer->ReceiveCode(), 0x90);
  peer->Send(packet(0x82, header(OBEX_HDR_BODY, "two")));
  EXPECT_EQ(peer->ReceiveCode(), 0xA0);
  EXPECT_TRUE(WaitForEvent("REQ 48/7"));
  EXPECT_EQ(Body(), "one two");
}

TEST_F(ServerTest, YieldsNoBodyWhenAPutHasNone) {
  const auto peer = Connect();
  peer->Send(packet(0x82, nameHeader("a.vcf")));
  EXPECT_EQ(peer->ReceiveCode(), 0xA0);
  EXPECT_TRUE(WaitForEvent("REQ 01/12"));
}

TEST_F(ServerTest, YieldsNothingMoreAndKeepsTheLinkWhenRefusedAtCheck) {
  refuseAt = OBEX_EV_REQCHECK;
  const auto peer = Connect();
  peer->Send(packet(0x82, nameHeader("a.jpg") + header(OBEX_HDR_BODY_END, "body")));
  EXPECT_EQ(peer->ReceiveCode(), 0xCF);
  ASSERT_TRUE(WaitForEvent("REQDONE"));
  EXPECT_THAT(Events(), ElementsAre("REQHINT", "REQCHECK 01/12", "PROGRESS", "REQDONE"));
  refuseAt = kNoEvent;
  peer->Send(packet(0x82, nameHeader("a.vcf") + header(OBEX_HDR_BODY_END, "body")));
  EXPECT_EQ(peer->ReceiveCode(), 0xA0);
}

TEST_F(ServerTest, IgnoresAnEmptySecondEndOfBody) {
  const auto peer = Connect();
  peer->Send(packet(0x02, nameHeader("a.vcf") + header(OBEX_HDR_BODY_END, "body")));
  EXPECT_EQ(peer->ReceiveCode(), 0x90);
  peer->Send(packet(0x82, header(OBEX_HDR_BODY_END, "")));
  EXPECT_EQ(peer->ReceiveCode(), 0xA0);
  ASSERT_TRUE(WaitForEvent("REQDONE"));
  EXPECT_EQ(Body(), "body");
  for (const std::string& event : Events()) EXPECT_EQ(event.find("48/0"), std::string::npos);
}

TEST_F(ServerTest, YieldsABodyThatEndsWithAnEmptyEndOfBody) {
  const auto peer = Connect();
  peer->Send(packet(0x02, nameHeader("a.vcf") + header(OBEX_HDR_BODY, "body")));
  EXPECT_EQ(peer->ReceiveCode(), 0x90);
  peer->Send(packet(0x82, header(OBEX_HDR_BODY_END, "")));
  EXPECT_EQ(peer->ReceiveCode(), 0xA0);
  ASSERT_TRUE(WaitForEvent("REQDONE"));
  EXPECT_EQ(Body(), "body");
}

TEST_F(ServerTest, YieldsAnEmptyBodyOnce) {
  const auto peer = Connect();
  peer->Send(packet(0x82, nameHeader("a.vcf") + header(OBEX_HDR_BODY_END, "")));
  EXPECT_EQ(peer->ReceiveCode(), 0xA0);
  ASSERT_TRUE(WaitForEvent("REQDONE"));
  EXPECT_THAT(Events(),
              ElementsAre("REQHINT", "REQCHECK 01/12", "REQ 01/12 48/0", "PROGRESS", "REQDONE"));
}

TEST_F(ServerTest, YieldsEachHeaderOfManyPacketsOnceForEveryObject) {
  const auto peer = Connect();
  const std::vector<std::string> object = {"REQHINT",       "REQCHECK 42/1", "PROGRESS 42/1",
                                           "PROGRESS 05/1", "PROGRESS 47/1", "REQ 46/1 48/4",
                                           "PROGRESS",      "REQDONE"};
  std::vector<std::string> expected;
  for (int i = 0; i < 2; ++i) {
    for (const int identifier : {OBEX_HDR_TYPE, OBEX_HDR_DESCRIPTION, OBEX_HDR_HTTP}) {
      peer->Send(packet(0x02, header(identifier, "v") + header(OBEX_HDR_BODY, "x")));
      ASSERT_EQ(peer->ReceiveCode(), 0x90);
    }
    peer->Send(packet(0x82, header(OBEX_HDR_TARGET, "v") + header(OBEX_HDR_BODY_END, "y")));
    ASSERT_EQ(peer->ReceiveCode(), 0xA0);
    expected.insert(expected.end(), object.begin(), object.end());
  }
  EXPECT_TRUE(test::waitFor([&] { return Events() == expected; }));
}

TEST_F(ServerTest, YieldsNothingAfterTheRequest) {
  ignoreHeadersAt = OBEX_EV_REQ;
  const auto peer = Connect();
  peer->Send(packet(0x82, nameHeader("a.vcf") + header(OBEX_HDR_BODY_END, "body")));
  EXPECT_EQ(peer->ReceiveCode(), 0xA0);
  ASSERT_TRUE(WaitForEvent("REQDONE"));
  EXPECT_THAT(Events(), ElementsAre("REQHINT", "REQCHECK 01/12", "REQ", "PROGRESS", "REQDONE"));
}

TEST_F(ServerTest, YieldsNothingAfterARefusalWhoseHeadersWereNotRead) {
  ignoreHeadersAt = refuseAt = OBEX_EV_REQCHECK;
  const auto peer = Connect();
  peer->Send(packet(0x82, nameHeader("a.jpg") + header(OBEX_HDR_BODY_END, "body")));
  EXPECT_EQ(peer->ReceiveCode(), 0xCF);
  ASSERT_TRUE(WaitForEvent("REQDONE"));
  EXPECT_THAT(Events(), ElementsAre("REQHINT", "REQCHECK", "PROGRESS", "REQDONE"));
}

TEST_F(ServerTest, AcceptsAnObjectWhenTheCallbackSetsNoResponse) {
  refuseAt = OBEX_EV_REQCHECK;
  responds = false;
  const auto peer = Connect();
  const std::string put = packet(0x82, nameHeader("a.vcf") + header(OBEX_HDR_BODY_END, "body"));
  peer->Send(put);
  EXPECT_EQ(peer->ReceiveCode(), 0xCF);
  refuseAt = kNoEvent;
  peer->Send(put);
  EXPECT_EQ(peer->ReceiveCode(), 0xA0);
  EXPECT_TRUE(WaitForEvent("REQ 01/12 48/4"));
}

TEST_F(ServerTest, AcceptsAnObjectWhenTheCallbackSetsSuccessAtCheck) {
  responds = false;
  SetOnEvent([](int event, void** object) {
    if (event == OBEX_EV_REQCHECK) OBEX_ObjectSetRsp(object, OBEX_RSP_SUCCESS, OBEX_RSP_SUCCESS);
  });
  const auto peer = Connect();
  peer->Send(packet(0x82, nameHeader("a.vcf") + header(OBEX_HDR_BODY_END, "body")));
  EXPECT_EQ(peer->ReceiveCode(), 0xA0);
  EXPECT_TRUE(WaitForEvent("REQ 01/12 48/4"));
}

TEST_F(ServerTest, YieldsEachObjectOfALinkFromItsBeginning) {
  const auto peer = Connect();
  for (const std::string body : {"first", "second one"}) {
    peer->Send(packet(0x82, nameHeader("a.vcf") + header(OBEX_HDR_BODY, body)));
    ASSERT_EQ(peer->ReceiveCode(), 0xA0);
    EXPECT_EQ(Body(), body);
  }
  peer->Send(packet(0x82, nameHeader("empty.vcf")));
  ASSERT_EQ(peer->ReceiveCode(), 0xA0);
  EXPECT_TRUE(WaitForEvent("REQ 01/20"));
}

TEST_F(ServerTest, YieldsNoBodyToConnect) {
  const auto peer = Connect();
  peer->Send(packet(0x80, std::string("\x10\0\xFF\xFF", 4) + header(OBEX_HDR_BODY, "body")));
  EXPECT_EQ(peer->ReceiveCode(), 0xA0);
  EXPECT_TRUE(WaitForEvent("REQ"));
}

TEST_F(ServerTest, YieldsNothingMoreWhenRefusedAtRequest) {
  refuseAt = OBEX_EV_REQ;
  const auto peer = Connect();
  peer->Send(packet(0x82, nameHeader("a.vcf") + header(OBEX_HDR_BODY_END, "body")));
  EXPECT_EQ(peer->ReceiveCode(), 0xCF);
  ASSERT_TRUE(WaitForEvent("REQDONE"));
  EXPECT_THAT(Events(),
              ElementsAre("REQHINT", "REQCHECK 01/12", "REQ 01/12 48/4", "PROGRESS", "REQDONE"));
  peer->Close();
  ASSERT_TRUE(WaitForEvent("LINKERR"));
  EXPECT_THAT(radioLink.Told(), Contains("answered 2 79"));
}

TEST_F(ServerTest, TellsTheHostOfAnObjectBeforeTheCallback) {
  std::vector<std::string> toldAtRequest;
  SetOnEvent([&](int event, void**) {
    if (event == OBEX_EV_REQ) toldAtRequest = radioLink.Told();
  });
  const auto peer = Connect();
  peer->Send(packet(0x82, nameHeader("a.vcf") + header(OBEX_HDR_BODY_END, "body")));
  EXPECT_EQ(peer->ReceiveCode(), 0xA0);
  ASSERT_TRUE(WaitForEvent("REQDONE"));
  EXPECT_THAT(toldAtRequest, Contains("object a.vcf 4"));
}

TEST_F(ServerTest, TellsTheHostOnceOfEachObject) {
  auto peer = Connect();
  for (const std::string name : {"a.vcf", "b.vcf"}) {
    peer->Send(packet(0x82, nameHeader(name) + header(OBEX_HDR_BODY_END, "body")));
    ASSERT_EQ(peer->ReceiveCode(), 0xA0);
  }
  peer->Send(packet(0x83));
  EXPECT_EQ(peer->ReceiveCode(), 0xD1);
  peer->Close();
  ASSERT_TRUE(WaitForEvent("LINKERR"));
  EXPECT_THAT(radioLink.Told(),
              ElementsAre("listening 4", "accepted 00:11:22:33:44:55", "object a.vcf 4",
                          "answered 2 32", "object b.vcf 4", "answered 2 32", "answered 3 81",
                          "closed: closed by the peer"));
}

TEST_F(ServerTest, AnswersInTheNameOfItsOwnHandleAfterAnotherHandlesCallback) {
  std::atomic<int> others = 0;
  SetOnEvent([&](int event, void** object) {
    if (event != OBEX_EV_REQCHECK) return;
    void** other = OBEX_Init(
        OBEX_TRANS_BLUETOOTH,
        [](void** handle, void**, int, int, int, int) {
          ++*static_cast<std::atomic<int>*>(OBEX_GetUserData(handle));
        },
        0);
    OBEX_SetUserData(other, &others);
    radioLink.stopping = true;
    BtOBEX_ServerRegister(other, nullptr, kChannel + 1);
    radioLink.stopping = false;
    OBEX_HandleInput(other, 0);  // which calls the other's callback
    OBEX_Cleanup(other);
    OBEX_ObjectSetRsp(object, OBEX_RSP_FORBIDDEN, OBEX_RSP_FORBIDDEN);
    refuseAt = OBEX_EV_REQCHECK;
  });
  const auto peer = Connect();
  peer->Send(packet(0x82, nameHeader("a.vcf") + header(OBEX_HDR_BODY_END, "body")));
  EXPECT_EQ(peer->ReceiveCode(), 0xCF);
  ASSERT_TRUE(WaitForEvent("REQDONE"));
  EXPECT_EQ(others, 1);
  EXPECT_THAT(Events(), ElementsAre("REQHINT", "REQCHECK 01/12", "PROGRESS", "REQDONE"));
}

TEST_F(ServerTest, ASignalIsATimeOutOfTheListener) {
  struct sigaction action {};
  struct sigaction before {};
  action.sa_handler = [](int) {};
  sigaction(SIGUSR1, &action, &before);
  for (int i = 0; i < 20; ++i) {
    pthread_kill(m_thread.native_handle(), SIGUSR1);
    std::this_thread::yield();
  }
  const auto peer = Connect();
  peer->Send(kConnect);
  EXPECT_EQ(peer->ReceiveCode(), 0xA0);
  EXPECT_THAT(Events(), ::testing::Not(Contains("LINKERR")));
  sigaction(SIGUSR1, &before, nullptr);
}

TEST_F(ServerTest, RefusesARequestInsideAnotherAndKeepsTheLink) {
  const auto peer = Connect();
  peer->Send(packet(0x02, nameHeader("a.vcf") + header(OBEX_HDR_BODY, "half")));
  EXPECT_EQ(peer->ReceiveCode(), 0x90);
  peer->Send(packet(0x83, nameHeader("a.vcf")));
  EXPECT_EQ(peer->ReceiveCode(), 0xC0);
  peer->Send(packet(0x81));
  EXPECT_EQ(peer->ReceiveCode(), 0xA0);
}

TEST_F(ServerTest, AnswersAnAbortAndTheNextObject) {
  const auto peer = Connect();
  peer->Send(packet(0x02, nameHeader("a.vcf") + header(OBEX_HDR_BODY, "half")));
  EXPECT_EQ(peer->ReceiveCode(), 0x90);
  peer->Send(packet(0xFF));
  EXPECT_EQ(peer->ReceiveCode(), 0xA0);
  peer->Send(packet(0x82, nameHeader("b.vcf") + header(OBEX_HDR_BODY_END, "body")));
  EXPECT_EQ(peer->ReceiveCode(), 0xA0);
  EXPECT_EQ(Body(), "body");
  EXPECT_THAT(radioLink.Told(), Contains("object b.vcf 4"));
}

TEST_F(ServerTest, RefusesAGetAtItsHint) {
  const auto peer = Connect();
  peer->Send(packet(0x83, nameHeader("a.vcf")));
  EXPECT_EQ(peer->ReceiveCode(), 0xD1);
}

TEST_F(ServerTest, ServesSeveralRequestsInOneWrite) {
  const auto peer = Connect();
  const std::string put = packet(0x82, nameHeader("a.vcf") + header(OBEX_HDR_BODY_END, "body"));
  peer->Send(kConnect + put + put + put);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(peer->ReceiveCode(), 0xA0);
}

TEST_F(ServerTest, AcceptsAPacketByteByByte) {
  const auto peer = Connect();
  for (const char c : packet(0x82, nameHeader("a.vcf") + header(OBEX_HDR_BODY_END, "body"))) {
    peer->Send(std::string(1, c));
  }
  EXPECT_EQ(peer->ReceiveCode(), 0xA0);
  EXPECT_TRUE(WaitForEvent("REQ 01/12 48/4"));
}

TEST_F(ServerTest, AcceptsAPacketOfTheMaximumSize) {
  const auto peer = Connect();
  const std::string body(65535 - 3 - 3, 'x');
  peer->Send(packet(0x82, header(OBEX_HDR_BODY_END, body)));
  EXPECT_EQ(peer->ReceiveCode(), 0xA0);
  EXPECT_TRUE(WaitForEvent("REQ 48/65529"));
}

TEST_F(ServerTest, AcceptsAnObjectOfTheMaximumSize) {
  const auto peer = Connect();
  const std::string piece(1 << 15, 'x');
  for (std::size_t sent = 0; sent + piece.size() < kMaxObjectSize; sent += piece.size()) {
    peer->Send(packet(0x02, header(OBEX_HDR_BODY, piece)));
    ASSERT_EQ(peer->ReceiveCode(), 0x90);
  }
  peer->Send(packet(0x82, header(OBEX_HDR_BODY_END, piece)));
  EXPECT_EQ(peer->ReceiveCode(), 0xA0);
  EXPECT_TRUE(WaitForEvent("REQ 48/" + std::to_string(kMaxObjectSize)));
}

TEST_F(ServerTest, ClosesTheLinkWhenAPacketLengthIsFalse) {
  ExpectLinkEnds(std::string("\x82\0\0", 3));
}

TEST_F(ServerTest, ClosesTheLinkWhenAHeaderLengthIsFalse) {
  ExpectLinkEnds(packet(0x82, std::string("\x48\0\0x", 4)));
}

TEST_F(ServerTest, ReportsOneLinkErrorWhenThePeerCloses) {
  const auto peer = Connect();
  peer->Send(packet(0x02, nameHeader("a.vcf") + header(OBEX_HDR_BODY, "half")));
  EXPECT_EQ(peer->ReceiveCode(), 0x90);
  peer->Close();
  ASSERT_TRUE(WaitForEvent("LINKERR"));
  Stop();
  std::vector<std::string> events = Events();
  EXPECT_EQ(std::count(events.begin(), events.end(), "LINKERR"), 1);
  Open();
}

TEST_F(ServerTest, ServesTheNextPeerWithANewHandle) {
  Connect()->Close();
  ASSERT_TRUE(WaitForEvent("LINKERR"));
  Stop();
  Open();
  const auto peer = Connect();
  peer->Send(kConnect);
  EXPECT_EQ(peer->ReceiveCode(), 0xA0);
}

TEST_F(ServerTest, TellsTheHostOfTheLinkAndItsObjects) {
  auto peer = Connect();
  peer->Send(kConnect);
  peer->ReceiveCode();
  peer->Send(packet(0x02, nameHeader("a.vcf") + header(OBEX_HDR_BODY, "1234")));
  peer->ReceiveCode();
  peer->Send(packet(0x82, header(OBEX_HDR_BODY_END, "56")));
  peer->ReceiveCode();
  peer->Close();
  ASSERT_TRUE(WaitForEvent("LINKERR"));
  Stop();
  EXPECT_THAT(radioLink.Told(), ElementsAre("listening 4", "accepted 00:11:22:33:44:55",
                                            "answered 0 32", "object a.vcf 6", "answered 2 32",
                                            "closed: closed by the peer", "stopped"));
  Open();
}

TEST_F(ServerTest, TellsTheHostOfARefusedObject) {
  refuseAt = OBEX_EV_REQCHECK;
  auto peer = Connect();
  peer->Send(packet(0x02, nameHeader("a.jpg") + header(OBEX_HDR_BODY, "1234")));
  EXPECT_EQ(peer->ReceiveCode(), 0xCF);
  refuseAt = kNoEvent;
  peer->Send(packet(0x82, nameHeader("b.vcf") + header(OBEX_HDR_BODY_END, "56")));
  EXPECT_EQ(peer->ReceiveCode(), 0xA0);
  peer->Close();
  ASSERT_TRUE(WaitForEvent("LINKERR"));
  Stop();
  EXPECT_THAT(
      radioLink.Told(),
      ElementsAre("listening 4", "accepted 00:11:22:33:44:55", "object a.jpg 4", "answered 2 79",
                  "object b.vcf 2", "answered 2 32", "closed: closed by the peer", "stopped"));
  Open();
}

TEST_F(ServerTest, TellsTheHostOfAnObjectThatBreaksOff) {
  auto peer = Connect();
  peer->Send(packet(0x02, nameHeader("a.vcf") + header(OBEX_HDR_BODY, "1234")));
  EXPECT_EQ(peer->ReceiveCode(), 0x90);
  peer->Close();
  ASSERT_TRUE(WaitForEvent("LINKERR"));
  Stop();
  EXPECT_THAT(radioLink.Told(),
              ElementsAre("listening 4", "accepted 00:11:22:33:44:55", "object a.vcf 4",
                          "closed: closed by the peer", "stopped"));
  Open();
}

TEST_F(ServerTest, ReadsNothingFromAPeerThatIsNotLetIn) {
  radioLink.admits = false;
  const auto peer = Connect();
  peer->Send(kConnect);
  EXPECT_TRUE(WaitForEvent("LINKERR"));
  EXPECT_THAT(Events(), ElementsAre("LINKERR"));
  EXPECT_THAT(radioLink.Told(), Contains("closed: the peer was not let in"));
}

}  // namespace
}  // namespace openobex
