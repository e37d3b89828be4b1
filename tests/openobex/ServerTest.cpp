// The server side of the layer with the real library; the tests play the peer, over the virtual
// radio.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
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
  void ForgetEvents() {
    const std::lock_guard lock(m_mutex);
    m_events.clear();
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
  std::atomic<bool> readsHeaders = true;

 private:
  static void OnEvent(void** handle, void** object, int mode, int event, int command, int) {
    static_cast<ServerTest*>(OBEX_GetUserData(handle))->Keep(handle, object, mode, event, command);
  }
  void Keep(void** handle, void** object, int mode, int event, int command) {
    EXPECT_EQ(mode, OBEX_MODE_SERVER);
    std::string text = eventName(event);
    const bool yields =
        event == OBEX_EV_REQCHECK || event == OBEX_EV_REQ || event == OBEX_EV_PROGRESS;
    if (yields && readsHeaders) text += Headers(handle, object);
    {
      const std::lock_guard lock(m_mutex);
      m_events.push_back(text);
    }
    if (refuseAt == event) {
      OBEX_ObjectSetRsp(object, OBEX_RSP_UNSUPPORTED_MEDIA_TYPE, OBEX_RSP_UNSUPPORTED_MEDIA_TYPE);
    } else if (event == OBEX_EV_REQHINT && command == OBEX_CMD_GET) {
      OBEX_ObjectSetRsp(object, OBEX_RSP_NOT_IMPLEMENTED, OBEX_RSP_NOT_IMPLEMENTED);
    } else if (yields) {
      OBEX_ObjectSetRsp(object, OBEX_RSP_CONTINUE, OBEX_RSP_SUCCESS);
    }
  }
  static std::string Headers(void** handle, void** object) {
    std::string text;
    std::uint8_t identifier = 0;
    obex_headerdata_t value{};
    std::uint32_t size = 0;
    while (OBEX_ObjectGetNextHeader(handle, object, &identifier, &value, &size) > 0) {
      char part[32];
      std::snprintf(part, sizeof part, " %02x/%u", identifier, size);
      text += part;
    }
    return text;
  }

  Radio m_radio;
  void** m_handle = nullptr;
  std::atomic<bool> m_stop = false;
  std::atomic<int> m_lastResult = 0;
  std::thread m_thread;
  std::mutex m_mutex;
  std::vector<std::string> m_events;
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
}

TEST_F(ServerTest, YieldsABodyWithoutEndOfBody) {
  const auto peer = Connect();
  peer->Send(packet(0x82, nameHeader("a.vcf") + header(OBEX_HDR_BODY, "body")));
  EXPECT_EQ(peer->ReceiveCode(), 0xA0);
  ASSERT_TRUE(WaitForEvent("REQDONE"));
  EXPECT_THAT(Events(),
              ElementsAre("REQHINT", "REQCHECK 01/12", "REQ 01/12 48/4", "PROGRESS", "REQDONE"));
}

TEST_F(ServerTest, YieldsABodyOfSeveralPacketsWithoutEndOfBody) {
  const auto peer = Connect();
  peer->Send(packet(0x02, nameHeader("a.vcf") + header(OBEX_HDR_BODY, "one ")));
  EXPECT_EQ(peer->ReceiveCode(), 0x90);
  peer->Send(packet(0x82, header(OBEX_HDR_BODY, "two")));
  EXPECT_EQ(peer->ReceiveCode(), 0xA0);
  EXPECT_TRUE(WaitForEvent("REQ 48/7"));
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
  EXPECT_THAT(radioLink.Told(), Contains("closed: the peer is not let in"));
}

}  // namespace
}  // namespace openobex
