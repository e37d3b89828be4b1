// The client side of the layer with the real library; the tests play the peer, over the virtual
// radio.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "tests/openobex/LinkSupport.h"
#include "tests/openobex/Packets.h"

namespace openobex {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// A client, and the socket on which its peer listens.
class ClientTest : public ::testing::Test {
 protected:
  ClientTest() {
    m_listener = ::socket(AF_BLUETOOTH, SOCK_STREAM, BTPROTO_RFCOMM);
    const sockaddr_rc address = phoneAddress();
    EXPECT_EQ(bind(m_listener, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(listen(m_listener, 1), 0);
    Open();
  }
  ~ClientTest() override {
    OBEX_Cleanup(m_handle);
    close(m_listener);
  }

  void Open() {
    m_handle = OBEX_Init(OBEX_TRANS_BLUETOOTH, &ClientTest::OnEvent, 0);
    OBEX_SetUserData(m_handle, this);
  }
  /// Replaces the handle.
  void Reopen() {
    OBEX_Cleanup(m_handle);
    Open();
  }
  void Connect() {
    const bdaddr_t any{};
    const bdaddr_t destination = Radio::address();
    ASSERT_GE(BtOBEX_TransportConnect(m_handle, &any, &destination, kChannel), 0);
    peer = std::make_unique<Peer>(accept(m_listener, nullptr, nullptr));
  }
  void** NewObject(int command) {
    return OBEX_ObjectNew(m_handle, static_cast<std::uint8_t>(command));
  }
  int Add(void** object, int identifier, const std::string& value, unsigned flags = 0) {
    obex_headerdata_t data{};
    data.bs = reinterpret_cast<const std::uint8_t*>(value.data());
    return OBEX_ObjectAddHeader(m_handle, object, static_cast<std::uint8_t>(identifier), data,
                                static_cast<std::uint32_t>(value.size()), flags);
  }
  void Request(void** object) {
    ASSERT_GE(OBEX_Request(m_handle, object), 0);
    EXPECT_EQ(OBEX_HandleInput(m_handle, 10), 1) << "the first call sends";
  }
  int HandleInput(int timeout = 10) { return OBEX_HandleInput(m_handle, timeout); }
  int Cancel(int nice = 0) { return OBEX_CancelRequest(m_handle, nice); }
  /// Sends a CONNECT with a Who header.
  void ConnectWithWho() {
    Connect();
    void** object = NewObject(OBEX_CMD_CONNECT);
    ASSERT_GE(Add(object, OBEX_HDR_WHO, "anyone", OBEX_FL_FIT_ONE_PACKET), 0);
    Request(object);
    ASSERT_EQ(peer->Receive(), connect(kWho));
  }
  /// The peer answers Forbidden, and the layer repeats CONNECT.
  void Forbid() {
    peer->Send(kForbidden);
    ASSERT_EQ(HandleInput(), 1);
    EXPECT_THAT(events, IsEmpty());
  }
  /// Accepts the packets of a PUT up to the last. Returns their headers.
  std::string PutToItsEnd() {
    std::string sent;
    for (std::string more = peer->Receive(); !more.empty(); more = peer->Receive()) {
      sent += more.substr(3);
      if (more[0] != 0x02) break;
      peer->Send(packet(0x90));
      EXPECT_EQ(HandleInput(), 1);
    }
    return sent;
  }
  static std::string connect(const std::string& headers) {
    return packet(0x80, std::string("\x10\0\xFF\xFF", 4) + headers);
  }

  const std::string kWho = header(OBEX_HDR_WHO, "anyone");
  const std::string kForbidden = packet(0xC3, std::string("\x10\0\xFF\xFF", 4));
  const std::string kSuccess = packet(0xA0, std::string("\x10\0\xFF\xFF", 4));

  void** m_handle;
  Radio radio;
  RecordingRadioLink radioLink;
  std::unique_ptr<Peer> peer;
  std::vector<std::string> events;

 private:
  static void OnEvent(void** handle, void**, int mode, int event, int command, int response) {
    auto* const test = static_cast<ClientTest*>(OBEX_GetUserData(handle));
    EXPECT_EQ(mode, OBEX_MODE_CLIENT);
    if (event == OBEX_EV_REQDONE) {
      test->events.push_back("done " + std::to_string(command) + " " + std::to_string(response));
    } else if (event != OBEX_EV_PROGRESS) {
      test->events.push_back(eventName(event));
    }
  }

  int m_listener;
};

TEST_F(ClientTest, AddsAnEndOfBodyToABody) {
  Connect();
  void** object = NewObject(OBEX_CMD_PUT);
  Add(object, OBEX_HDR_TYPE, "vCard");
  Add(object, OBEX_HDR_BODY, "body");
  Request(object);
  EXPECT_EQ(peer->Receive(),
            packet(0x02, header(OBEX_HDR_TYPE, "vCard") + header(OBEX_HDR_BODY, "body")));
  peer->Send(packet(0x90));
  ASSERT_EQ(HandleInput(), 1);
  EXPECT_EQ(peer->Receive(), packet(0x82, header(OBEX_HDR_BODY_END, "")));
  peer->Send(packet(0xA0));
  EXPECT_EQ(HandleInput(), 1);
  EXPECT_THAT(events, ElementsAre("done 2 32"));
}

TEST_F(ClientTest, AddsNoSecondEndOfBody) {
  Connect();
  void** object = NewObject(OBEX_CMD_PUT);
  Add(object, OBEX_HDR_BODY, "body");
  EXPECT_GE(Add(object, OBEX_HDR_BODY_END, "", OBEX_FL_STREAM_DATAEND), 0);
  Request(object);
  EXPECT_EQ(PutToItsEnd(), header(OBEX_HDR_BODY, "body") + header(OBEX_HDR_BODY_END, ""));
}

TEST_F(ClientTest, AddsNoEndOfBodyToABodyWithFlags) {
  Connect();
  void** object = NewObject(OBEX_CMD_PUT);
  Add(object, OBEX_HDR_BODY, "body", OBEX_FL_FIT_ONE_PACKET);
  Request(object);
  EXPECT_EQ(PutToItsEnd(), header(OBEX_HDR_BODY, "body"));
}

TEST_F(ClientTest, AddsNoEndOfBodyWithoutABody) {
  Connect();
  void** object = NewObject(OBEX_CMD_PUT);
  Add(object, OBEX_HDR_TYPE, "vCard");
  Request(object);
  EXPECT_EQ(PutToItsEnd(), header(OBEX_HDR_TYPE, "vCard"));
}

TEST_F(ClientTest, ForgetsTheBodyOfADeletedObject) {
  Connect();
  std::vector<void**> objects(16);
  for (void**& object : objects) {
    object = NewObject(OBEX_CMD_PUT);
    Add(object, OBEX_HDR_BODY, "body");
  }
  for (void** object : objects) EXPECT_GE(OBEX_ObjectDelete(m_handle, object), 0);
  // Some of the next ones are at the same addresses.
  for (void**& object : objects) object = NewObject(OBEX_CMD_PUT);
  for (void** object : objects) {
    Add(object, OBEX_HDR_TYPE, "vCard");
    Request(object);
    ASSERT_EQ(PutToItsEnd(), header(OBEX_HDR_TYPE, "vCard"));
    peer->Send(packet(0xA0));
    ASSERT_EQ(HandleInput(), 1);
  }
}

TEST_F(ClientTest, SendsALargeBodyWhole) {
  Connect();
  void** object = NewObject(OBEX_CMD_PUT);
  const std::string body(200000, 'x');
  Add(object, OBEX_HDR_BODY, body);
  Request(object);
  std::string sent;
  for (std::string more = peer->Receive();; more = peer->Receive()) {
    sent += more.substr(6);
    if (more[0] != 0x02) break;
    EXPECT_LE(more.size(), 65535U);
    peer->Send(packet(0x90));
    ASSERT_EQ(HandleInput(), 1);
  }
  EXPECT_EQ(sent, body);
}

TEST_F(ClientTest, CountsTheResponseHeadersOfEachRequestAnew) {
  Connect();
  const std::string large = header(OBEX_HDR_DESCRIPTION, std::string(60000, 'x'));
  for (int i = 0; i < 6; ++i) {
    void** object = NewObject(OBEX_CMD_PUT);
    Add(object, OBEX_HDR_BODY, std::string(70000, 'x'));
    Request(object);
    peer->Receive();
    peer->Send(packet(0xC3, large));
    ASSERT_EQ(HandleInput(), 1) << i;
  }
  EXPECT_THAT(events, ::testing::Each("done 2 67"));
}

TEST_F(ClientTest, RefusesASecondRequestWhileOneIsInFlight) {
  Connect();
  Request(NewObject(OBEX_CMD_CONNECT));
  void** second = NewObject(OBEX_CMD_DISCONNECT);
  EXPECT_LT(OBEX_Request(m_handle, second), 0);
  EXPECT_GE(OBEX_ObjectDelete(m_handle, second), 0) << "still the caller's";
}

TEST_F(ClientTest, TreatsANegativeTimeOutAsZero) {
  Connect();
  Request(NewObject(OBEX_CMD_CONNECT));
  EXPECT_EQ(HandleInput(-1), 0);
}

TEST_F(ClientTest, DoesNothingMoreAfterALinkError) {
  Connect();
  peer->Close();
  EXPECT_EQ(HandleInput(), -1);
  void** object = NewObject(OBEX_CMD_DISCONNECT);
  EXPECT_LT(OBEX_Request(m_handle, object), 0);
  EXPECT_GE(OBEX_ObjectDelete(m_handle, object), 0);
  EXPECT_LT(Cancel(), 0);
  EXPECT_THAT(events, ElementsAre("LINKERR"));
}

TEST_F(ClientTest, ReportsALinkErrorWhenTheRequestCannotBeSent) {
  Connect();
  peer->Close();
  ASSERT_GE(OBEX_Request(m_handle, NewObject(OBEX_CMD_CONNECT)), 0);
  EXPECT_EQ(HandleInput(), -1);
  EXPECT_THAT(events, ElementsAre("LINKERR"));
}

TEST_F(ClientTest, ClosesTheLinkWhenCancelled) {
  Connect();
  Request(NewObject(OBEX_CMD_CONNECT));
  peer->Receive();
  EXPECT_GE(Cancel(), 0);
  EXPECT_THAT(events, Contains("LINKERR"));
  EXPECT_TRUE(peer->IsClosed());
}

TEST_F(ClientTest, SendsAnAbortWhenCancelledNicely) {
  Connect();
  void** object = NewObject(OBEX_CMD_PUT);
  Add(object, OBEX_HDR_BODY, std::string(70000, 'x'));
  Request(object);
  peer->Receive();
  EXPECT_GE(Cancel(1), 0);
  peer->Send(packet(0x90));
  while (HandleInput(0) > 0) {
  }
  EXPECT_EQ(peer->Receive(), packet(0xFF));
}

TEST_F(ClientTest, TellsTheHostNothing) {
  Connect();
  Request(NewObject(OBEX_CMD_CONNECT));
  peer->Send(kSuccess);
  EXPECT_EQ(HandleInput(), 1);
  void** object = NewObject(OBEX_CMD_PUT);
  Add(object, OBEX_HDR_BODY, std::string(200000, 'x'));
  Request(object);
  peer->Receive();
  peer->Send(packet(0x90));
  EXPECT_EQ(HandleInput(), 1);
  peer->Close();  // in the middle of the object
  EXPECT_EQ(HandleInput(), -1);
  Reopen();
  EXPECT_THAT(radioLink.Told(), IsEmpty());
  EXPECT_EQ(radioLink.forbidden, 0);
}

TEST_F(ClientTest, ReportsTheResponseWhenConnectIsRefused) {
  Connect();
  Request(NewObject(OBEX_CMD_CONNECT));
  peer->Receive();
  peer->Send(packet(0xC3, std::string("\x10\0\xFF\xFF", 4)));
  EXPECT_EQ(HandleInput(), 1);
  EXPECT_THAT(events, ElementsAre("done 0 67"));
  Request(NewObject(OBEX_CMD_DISCONNECT));
  EXPECT_EQ(static_cast<unsigned char>(peer->Receive()[0]), 0x81);
}

TEST_F(ClientTest, AcceptsARefusalOfConnectWithoutItsFields) {
  Connect();
  Request(NewObject(OBEX_CMD_CONNECT));
  peer->Receive();
  peer->Send(packet(0xD3));
  EXPECT_EQ(HandleInput(), 1);
  EXPECT_THAT(events, ElementsAre("done 0 83"));
}

TEST_F(ClientTest, RepeatsAForbiddenConnectWithoutWho) {
  ConnectWithWho();
  Forbid();
  EXPECT_EQ(peer->Receive(), connect(""));
  peer->Send(kSuccess);
  EXPECT_EQ(HandleInput(), 1);
  EXPECT_THAT(events, ElementsAre("done 0 32"));
  Request(NewObject(OBEX_CMD_DISCONNECT));
  EXPECT_EQ(peer->Receive(), packet(0x81));
  peer->Send(packet(0xA0));
  EXPECT_EQ(HandleInput(), 1);
  EXPECT_THAT(events, ElementsAre("done 0 32", "done 1 32"));
}

TEST_F(ClientTest, RepeatsConnectAfterAThreeByteRefusal) {
  ConnectWithWho();
  peer->Send(packet(0xC3));
  EXPECT_EQ(HandleInput(), 1);
  EXPECT_EQ(peer->Receive(), connect(""));
  EXPECT_THAT(events, IsEmpty());
}

TEST_F(ClientTest, AsksTheHostOnceWhetherToRepeatConnect) {
  ConnectWithWho();
  EXPECT_EQ(radioLink.forbidden, 0);
  Forbid();
  EXPECT_EQ(radioLink.forbidden, 1);
  peer->Receive();
  peer->Send(kForbidden);
  EXPECT_EQ(HandleInput(), 1);
  EXPECT_EQ(radioLink.forbidden, 1);
}

TEST_F(ClientTest, RepeatsTheOtherHeadersOfConnect) {
  Connect();
  void** object = NewObject(OBEX_CMD_CONNECT);
  for (const int identifier : {OBEX_HDR_TARGET, OBEX_HDR_WHO, OBEX_HDR_DESCRIPTION}) {
    ASSERT_GE(Add(object, identifier, "anyone", OBEX_FL_FIT_ONE_PACKET), 0);
  }
  Request(object);
  const std::string target = header(OBEX_HDR_TARGET, "anyone");
  const std::string description = header(OBEX_HDR_DESCRIPTION, "anyone");
  ASSERT_EQ(peer->Receive(), connect(target + kWho + description));
  Forbid();
  EXPECT_EQ(peer->Receive(), connect(target + description));
}

TEST_F(ClientTest, RepeatsConnectOnlyOnceWhenBothAreForbidden) {
  ConnectWithWho();
  Forbid();
  peer->Receive();
  peer->Send(kForbidden);
  EXPECT_EQ(HandleInput(), 1);
  EXPECT_THAT(events, ElementsAre("done 0 67"));
  Request(NewObject(OBEX_CMD_DISCONNECT));
  EXPECT_EQ(peer->Receive(), packet(0x81));
}

TEST_F(ClientTest, ReportsTheResponseToTheSecondConnect) {
  ConnectWithWho();
  Forbid();
  peer->Receive();
  peer->Send(packet(0xD3));
  EXPECT_EQ(HandleInput(), 1);
  EXPECT_THAT(events, ElementsAre("done 0 83"));
}

TEST_F(ClientTest, DoesNotRepeatALaterConnectOfTheSameLink) {
  ConnectWithWho();
  Forbid();
  peer->Receive();
  peer->Send(kSuccess);
  HandleInput();
  void** object = NewObject(OBEX_CMD_CONNECT);
  Add(object, OBEX_HDR_WHO, "anyone");
  Request(object);
  EXPECT_EQ(peer->Receive(), connect(kWho));
  peer->Send(kForbidden);
  EXPECT_EQ(HandleInput(), 1);
  EXPECT_THAT(events, ElementsAre("done 0 32", "done 0 67"));
}

TEST_F(ClientTest, DoesNotRepeatConnectWhenTheHostDeclines) {
  radioLink.repeats = false;
  ConnectWithWho();
  peer->Send(kForbidden);
  EXPECT_EQ(HandleInput(), 1);
  EXPECT_THAT(events, ElementsAre("done 0 67"));
  Request(NewObject(OBEX_CMD_DISCONNECT));
  EXPECT_EQ(peer->Receive(), packet(0x81));
}

TEST_F(ClientTest, DoesNotRepeatConnectWithoutAHost) {
  setRadioLink(nullptr);
  ConnectWithWho();
  peer->Send(kForbidden);
  EXPECT_EQ(HandleInput(), 1);
  EXPECT_THAT(events, ElementsAre("done 0 67"));
}

TEST_F(ClientTest, DoesNotRepeatConnectAfterOtherRefusals) {
  for (const int code : {0x90, 0xC0, 0xC1, 0xC4, 0xD0, 0xD3}) {
    events.clear();
    ConnectWithWho();
    peer->Send(packet(code));
    EXPECT_EQ(HandleInput(), 1);
    EXPECT_THAT(events, ElementsAre("done 0 " + std::to_string(code & 0x7F)));
    Reopen();
    EXPECT_TRUE(peer->IsClosed()) << "no second CONNECT";
  }
}

TEST_F(ClientTest, TimesOutWhenTheSecondConnectIsNotAnswered) {
  ConnectWithWho();
  Forbid();
  EXPECT_EQ(HandleInput(1), 0);
  EXPECT_EQ(HandleInput(0), 0);
  Cancel();
  EXPECT_EQ(HandleInput(0), -1);
  EXPECT_EQ(peer->Receive(), connect(""));
  EXPECT_TRUE(peer->IsClosed());
  EXPECT_THAT(events, ::testing::Not(Contains(::testing::HasSubstr("done"))));
}

TEST_F(ClientTest, ReportsOneLinkErrorWhenThePeerGoesBeforeTheSecondConnect) {
  ConnectWithWho();
  peer->Send(kForbidden);
  peer->Close();
  while (HandleInput() > 0) {
  }
  EXPECT_EQ(HandleInput(), -1);
  EXPECT_THAT(events, ElementsAre("LINKERR"));
}

TEST_F(ClientTest, ReportsOneLinkErrorWhenThePeerGoesAfterTheSecondConnect) {
  ConnectWithWho();
  Forbid();
  peer->Receive();
  peer->Close();
  EXPECT_EQ(HandleInput(), -1);
  EXPECT_THAT(events, ElementsAre("LINKERR"));
}

TEST_F(ClientTest, MayBeCleanedUpBetweenTheConnects) {
  ConnectWithWho();
  Forbid();
  Reopen();
  EXPECT_EQ(peer->Receive(), connect(""));
  EXPECT_TRUE(peer->IsClosed());
}

TEST_F(ClientTest, DoesNotRepeatACancelledConnect) {
  ConnectWithWho();
  Cancel(1);
  peer->Send(kForbidden);
  while (HandleInput(0) > 0) {
  }
  Reopen();
  for (std::string sent = peer->Receive(); !sent.empty(); sent = peer->Receive()) {
    EXPECT_NE(sent, connect(""));
  }
}

TEST_F(ClientTest, AcceptsBothConnectResponsesInOneWrite) {
  ConnectWithWho();
  peer->Send(kForbidden + kSuccess);
  EXPECT_EQ(HandleInput(), 1);
  EXPECT_EQ(HandleInput(), 1);
  EXPECT_THAT(events, ElementsAre("done 0 32"));
}

TEST_F(ClientTest, TimesOutWhenThePeerIsSilentAndEndsWhenCancelled) {
  Connect();
  Request(NewObject(OBEX_CMD_CONNECT));
  EXPECT_EQ(HandleInput(0), 0);
  EXPECT_EQ(HandleInput(1), 0);
  Cancel();
  EXPECT_EQ(HandleInput(0), -1);
}

TEST_F(ClientTest, ReportsOneLinkErrorWhenThePeerGoes) {
  Connect();
  Request(NewObject(OBEX_CMD_CONNECT));
  peer->Close();
  EXPECT_EQ(HandleInput(), -1);
  EXPECT_EQ(HandleInput(), -1);
  EXPECT_THAT(events, ElementsAre("LINKERR"));
}

TEST_F(ClientTest, ReportsALinkErrorWhenTheResponseIsMalformed) {
  Connect();
  Request(NewObject(OBEX_CMD_CONNECT));
  peer->Send(packet(0xA0, std::string("\x10\0\0\x01", 4)));
  EXPECT_EQ(HandleInput(), -1);
  EXPECT_THAT(events, ElementsAre("LINKERR"));
}

TEST_F(ClientTest, RefusesImpossibleHeaderLengthsAndSendsTheRest) {
  Connect();
  void** object = NewObject(OBEX_CMD_PUT);
  constexpr std::size_t kLargest = 65535 - 3 - 3;
  EXPECT_LT(Add(object, OBEX_HDR_NAME, ""), 0);
  EXPECT_LT(Add(object, OBEX_HDR_NAME, "x"), 0);
  EXPECT_LT(Add(object, OBEX_HDR_NAME, std::string(kLargest + 1, 'x')), 0);
  EXPECT_LT(Add(object, OBEX_HDR_TYPE, std::string(kLargest + 1, 'x')), 0);
  obex_headerdata_t value{};
  for (const int identifier : {OBEX_HDR_NAME, OBEX_HDR_TYPE, OBEX_HDR_BODY, OBEX_HDR_BODY_END}) {
    EXPECT_LT(OBEX_ObjectAddHeader(m_handle, object, static_cast<std::uint8_t>(identifier), value,
                                   static_cast<std::uint32_t>(-1), 0),
              0);
  }
  EXPECT_GE(Add(object, OBEX_HDR_NAME, std::string(2, '\0')), 0);
  EXPECT_GE(Add(object, OBEX_HDR_BODY, std::string(kLargest + 1, 'b')), 0);
  Request(object);
  const std::string sent = peer->Receive();
  EXPECT_EQ(sent.substr(3, 5), header(OBEX_HDR_NAME, std::string(2, '\0')));
  EXPECT_EQ(sent[8], OBEX_HDR_BODY);
}

TEST_F(ClientTest, SendsHeadersOfTheLargestSize) {
  Connect();
  Request(NewObject(OBEX_CMD_CONNECT));
  peer->Receive();
  peer->Send(kSuccess);
  ASSERT_EQ(HandleInput(), 1);
  const std::string largest(65535 - 3 - 3, 'x');
  for (const int identifier : {OBEX_HDR_NAME, OBEX_HDR_TYPE}) {
    void** object = NewObject(OBEX_CMD_PUT);
    EXPECT_GE(Add(object, identifier, largest), 0);
    EXPECT_LT(Add(object, identifier, largest + 'x'), 0);
    Request(object);
    EXPECT_EQ(peer->Receive().substr(3), header(identifier, largest));
    peer->Send(packet(0xC3));
    ASSERT_EQ(HandleInput(), 1);
  }
}

}  // namespace
}  // namespace openobex
