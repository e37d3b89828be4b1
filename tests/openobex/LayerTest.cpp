// Whole links: the layer and the real library at one end, bytes as a peer may send them at the
// other, over the virtual radio.

#include <bluetooth/bluetooth.h>
#include <bluetooth/rfcomm.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "framework/RadioLinkIfc.h"
#include "openobex/openobex.h"
#include "tests/support/WaitFor.h"

namespace openobex {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr std::uint8_t kChannel = 4;
constexpr int kNoEvent = -1;

std::string number(std::size_t value) {
  return {static_cast<char>(value >> 8), static_cast<char>(value & 0xFF)};
}

std::string packet(int code, const std::string& payload = "") {
  return static_cast<char>(code) + number(payload.size() + 3) + payload;
}

std::string header(int identifier, const std::string& value) {
  return static_cast<char>(identifier) + number(value.size() + 3) + value;
}

std::string nameHeader(const std::string& name) {
  std::string value;
  for (const char c : name) value += std::string(1, '\0') + c;
  return header(OBEX_HDR_NAME, value + number(0));
}

const std::string kConnect = packet(0x80, std::string("\x10\0\xFF\xFF", 4));

/// A radio of this test's own, and the address of this process on it.
class Radio {
 public:
  Radio() {
    std::string path = (std::filesystem::temp_directory_path() / "layer-test-XXXXXX").string();
    m_folder = mkdtemp(path.data());
    setenv("VIRTUAL_RADIO_DIR", m_folder.c_str(), 1);
    setenv("VIRTUAL_RADIO_ADDRESS", "00:11:22:33:44:55", 1);
  }
  ~Radio() { std::filesystem::remove_all(m_folder); }
  Radio(const Radio&) = delete;
  Radio& operator=(const Radio&) = delete;

  static bdaddr_t address() { return {{0x55, 0x44, 0x33, 0x22, 0x11, 0x00}}; }

 private:
  std::string m_folder;
};

sockaddr_rc phoneAddress() {
  sockaddr_rc address{};
  address.rc_family = AF_BLUETOOTH;
  address.rc_bdaddr = Radio::address();
  address.rc_channel = kChannel;
  return address;
}

/// An RFCOMM socket of a peer's, or one that it accepted.
class Peer {
 public:
  explicit Peer(int socket) : m_socket(socket) {}
  ~Peer() { Close(); }
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;

  void Close() {
    if (m_socket >= 0) close(m_socket);
    m_socket = -1;
  }
  void Send(const std::string& bytes) {
    std::size_t sent = 0;
    while (sent < bytes.size()) {
      const ssize_t result = send(m_socket, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
      if (result <= 0) return;  // the other end is gone; what follows shows it
      sent += static_cast<std::size_t>(result);
    }
  }
  /// One whole packet, empty when the link has ended.
  std::string Receive() {
    std::string head = ReceiveExactly(3);
    if (head.empty()) return {};
    const auto length = static_cast<std::size_t>(static_cast<unsigned char>(head[1]) << 8 |
                                                 static_cast<unsigned char>(head[2]));
    return head + ReceiveExactly(length - 3);
  }
  int ReceiveCode() {
    const std::string answer = Receive();
    return answer.empty() ? -1 : static_cast<unsigned char>(answer[0]);
  }
  bool IsClosed() { return ReceiveExactly(1).empty(); }

 private:
  std::string ReceiveExactly(std::size_t count) {
    std::string bytes;
    while (bytes.size() < count) {
      char buffer[65536];
      pollfd waiting{m_socket, POLLIN, 0};
      if (poll(&waiting, 1, 60000) <= 0) return {};
      const ssize_t got = recv(m_socket, buffer, std::min(sizeof buffer, count - bytes.size()), 0);
      if (got <= 0) return {};
      bytes.append(buffer, static_cast<std::size_t>(got));
    }
    return bytes;
  }

  int m_socket;
};

std::string eventName(int event) {
  switch (event) {
    case OBEX_EV_PROGRESS:
      return "PROGRESS";
    case OBEX_EV_REQHINT:
      return "REQHINT";
    case OBEX_EV_REQ:
      return "REQ";
    case OBEX_EV_REQDONE:
      return "REQDONE";
    case OBEX_EV_LINKERR:
      return "LINKERR";
    case OBEX_EV_REQCHECK:
      return "REQCHECK";
    default:
      return "event " + std::to_string(event);
  }
}

/// Keeps what happens on a radio link, and lets peers in or not.
class RecordingRadioLink : public RadioLinkIfc {
 public:
  RecordingRadioLink() { setRadioLink(this); }
  ~RecordingRadioLink() { setRadioLink(nullptr); }

  void linkListening(int channel) override { Add("listening " + std::to_string(channel)); }
  void linkStopped() override { Add("stopped"); }
  bool linkAccepted(const std::string& address) override {
    Add("accepted " + address);
    return admits;
  }
  void linkObject(const std::string& name, std::size_t size) override {
    Add("object " + name + " " + std::to_string(size));
  }
  void linkAnswered(int command, int response) override {
    Add("answered " + std::to_string(command) + " " + std::to_string(response));
  }
  void linkClosed(const std::string& reason) override { Add("closed: " + reason); }
  bool linkForbidden() override { return repeats; }

  std::vector<std::string> Told() {
    const std::lock_guard lock(m_mutex);
    return m_told;
  }
  std::atomic<bool> admits = true;
  std::atomic<bool> repeats = true;

 private:
  void Add(const std::string& text) {
    const std::lock_guard lock(m_mutex);
    m_told.push_back(text);
  }
  std::mutex m_mutex;
  std::vector<std::string> m_told;
};

/// A push server on the layer: answers as the service does and keeps each event with the headers it
/// was yielded.
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
  /// The event that is answered with a refusal.
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

TEST_F(ServerTest, ConnectPutAndDisconnectAreAccepted) {
  const auto peer = Connect();
  peer->Send(kConnect);
  EXPECT_EQ(peer->ReceiveCode(), 0xA0);
  peer->Send(packet(0x82, nameHeader("a.vcf") + header(OBEX_HDR_BODY_END, "body")));
  EXPECT_EQ(peer->ReceiveCode(), 0xA0);
  peer->Send(packet(0x81));
  EXPECT_EQ(peer->ReceiveCode(), 0xA0);
}

TEST_F(ServerTest, ConnectYieldsItsHeadersTwice) {
  const auto peer = Connect();
  peer->Send(packet(0x80, std::string("\x10\0\xFF\xFF", 4) + header(OBEX_HDR_WHO, "w") +
                              header(OBEX_HDR_TARGET, "target")));
  peer->ReceiveCode();
  ASSERT_TRUE(WaitForEvent("REQDONE"));
  EXPECT_THAT(Events(),
              ElementsAre("REQHINT", "REQCHECK 4a/1 46/6", "REQ 4a/1 46/6", "PROGRESS", "REQDONE"));
}

TEST_F(ServerTest, APutOfOnePacketYieldsEachHeaderOnceAndItsBodyLast) {
  const auto peer = Connect();
  peer->Send(packet(
      0x82, nameHeader("a.vcf") + header(OBEX_HDR_TYPE, "t") + header(OBEX_HDR_BODY_END, "body")));
  peer->ReceiveCode();
  ASSERT_TRUE(WaitForEvent("REQDONE"));
  EXPECT_THAT(Events(), ElementsAre("REQHINT", "REQCHECK 01/12 42/1", "REQ 01/12 42/1 48/4",
                                    "PROGRESS", "REQDONE"));
}

TEST_F(ServerTest, APutOfSeveralPacketsYieldsItsWholeBodyAtTheEnd) {
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

TEST_F(ServerTest, ABodyWithoutItsEndIsYieldedAllTheSame) {
  const auto peer = Connect();
  peer->Send(packet(0x82, nameHeader("a.vcf") + header(OBEX_HDR_BODY, "body")));
  EXPECT_EQ(peer->ReceiveCode(), 0xA0);
  ASSERT_TRUE(WaitForEvent("REQDONE"));
  EXPECT_THAT(Events(),
              ElementsAre("REQHINT", "REQCHECK 01/12", "REQ 01/12 48/4", "PROGRESS", "REQDONE"));
}

TEST_F(ServerTest, ABodyWithoutItsEndInSeveralPacketsIsWhole) {
  const auto peer = Connect();
  peer->Send(packet(0x02, nameHeader("a.vcf") + header(OBEX_HDR_BODY, "one ")));
  EXPECT_EQ(peer->ReceiveCode(), 0x90);
  peer->Send(packet(0x82, header(OBEX_HDR_BODY, "two")));
  EXPECT_EQ(peer->ReceiveCode(), 0xA0);
  EXPECT_TRUE(WaitForEvent("REQ 48/7"));
}

TEST_F(ServerTest, APutWithoutABodyYieldsNone) {
  const auto peer = Connect();
  peer->Send(packet(0x82, nameHeader("a.vcf")));
  EXPECT_EQ(peer->ReceiveCode(), 0xA0);
  EXPECT_TRUE(WaitForEvent("REQ 01/12"));
}

TEST_F(ServerTest, ARefusalAtTheFirstHeadersYieldsNothingMoreAndKeepsTheLink) {
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

TEST_F(ServerTest, AGetIsRefusedAtItsHint) {
  const auto peer = Connect();
  peer->Send(packet(0x83, nameHeader("a.vcf")));
  EXPECT_EQ(peer->ReceiveCode(), 0xD1);
}

TEST_F(ServerTest, SeveralRequestsInOneWriteAreServedOneByOne) {
  const auto peer = Connect();
  const std::string put = packet(0x82, nameHeader("a.vcf") + header(OBEX_HDR_BODY_END, "body"));
  peer->Send(kConnect + put + put + put);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(peer->ReceiveCode(), 0xA0);
}

TEST_F(ServerTest, BytesMayComeOneByOne) {
  const auto peer = Connect();
  for (const char c : packet(0x82, nameHeader("a.vcf") + header(OBEX_HDR_BODY_END, "body"))) {
    peer->Send(std::string(1, c));
  }
  EXPECT_EQ(peer->ReceiveCode(), 0xA0);
  EXPECT_TRUE(WaitForEvent("REQ 01/12 48/4"));
}

TEST_F(ServerTest, APacketOfTheLargestSizeIsTaken) {
  const auto peer = Connect();
  const std::string body(65535 - 3 - 3, 'x');
  peer->Send(packet(0x82, header(OBEX_HDR_BODY_END, body)));
  EXPECT_EQ(peer->ReceiveCode(), 0xA0);
  EXPECT_TRUE(WaitForEvent("REQ 48/65529"));
}

TEST_F(ServerTest, AnObjectAsLargeAsTheLimitIsTaken) {
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

TEST_F(ServerTest, PacketLengthsThatLieEndTheLink) { ExpectLinkEnds(std::string("\x82\0\0", 3)); }

TEST_F(ServerTest, HeaderLengthsThatLieEndTheLink) {
  ExpectLinkEnds(packet(0x82, std::string("\x48\0\0x", 4)));
}

TEST_F(ServerTest, APeersCloseIsALinkErrorOnce) {
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

TEST_F(ServerTest, AfterALinkErrorTheHandleIsGoodForNothingButItsCleanUp) {
  Connect()->Close();
  ASSERT_TRUE(WaitForEvent("LINKERR"));
  Stop();
  Open();
  const auto peer = Connect();
  peer->Send(kConnect);
  EXPECT_EQ(peer->ReceiveCode(), 0xA0);
}

TEST_F(ServerTest, TheHostHearsOfTheLink) {
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

TEST_F(ServerTest, TheHostHearsTheNameOfWhatIsRefused) {
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

TEST_F(ServerTest, TheHostHearsTheNameOfWhatBreaksOff) {
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

TEST_F(ServerTest, APeerThatIsNotLetInIsNotRead) {
  radioLink.admits = false;
  const auto peer = Connect();
  peer->Send(kConnect);
  EXPECT_TRUE(WaitForEvent("LINKERR"));
  EXPECT_THAT(Events(), ElementsAre("LINKERR"));
  EXPECT_THAT(radioLink.Told(), Contains("closed: the peer is not let in"));
}

/// A client on the layer, and the listening socket of whom it sends to.
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
  /// Ends the link and begins with a new handle.
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
  /// Makes a CONNECT that names a service and takes it at the other end.
  void RequestByName() {
    Connect();
    void** object = NewObject(OBEX_CMD_CONNECT);
    ASSERT_GE(Add(object, OBEX_HDR_WHO, "anyone", OBEX_FL_FIT_ONE_PACKET), 0);
    Request(object);
    ASSERT_EQ(peer->Receive(), connect(kWho));
  }
  /// The peer forbids it, and the layer sends another.
  void Forbid() {
    peer->Send(kForbidden);
    ASSERT_EQ(HandleInput(), 1);
    EXPECT_THAT(events, IsEmpty());
  }
  static std::string connect(const std::string& headers) {
    return packet(0x80, std::string("\x10\0\xFF\xFF", 4) + headers);
  }

  const std::string kWho = header(OBEX_HDR_WHO, "anyone");
  const std::string kForbidden = packet(0xC3, std::string("\x10\0\xFF\xFF", 4));
  const std::string kSuccess = packet(0xA0, std::string("\x10\0\xFF\xFF", 4));

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
  void** m_handle;
};

TEST_F(ClientTest, ABodyGetsItsEnd) {
  Connect();
  void** object = NewObject(OBEX_CMD_PUT);
  Add(object, OBEX_HDR_TYPE, "vCard");
  Add(object, OBEX_HDR_BODY, "body");
  Request(object);
  std::string sent = peer->Receive();
  while ((static_cast<unsigned char>(sent[0]) & 0x80) == 0) {
    peer->Send(packet(0x90));
    ASSERT_EQ(HandleInput(), 1);
    if (events.empty()) HandleInput(1);
    sent += peer->Receive();
    if (static_cast<unsigned char>(sent[0]) == 0x02) sent[0] = '\x82';
  }
  EXPECT_NE(sent.find(header(OBEX_HDR_BODY, "body")), std::string::npos);
  EXPECT_NE(sent.find(header(OBEX_HDR_BODY_END, "")), std::string::npos);
  peer->Send(packet(0xA0));
  EXPECT_EQ(HandleInput(), 1);
  EXPECT_THAT(events, ElementsAre("done 2 32"));
}

TEST_F(ClientTest, ARefusedConnectIsDoneWithItsAnswer) {
  Connect();
  Request(NewObject(OBEX_CMD_CONNECT));
  peer->Receive();
  peer->Send(packet(0xC3, std::string("\x10\0\xFF\xFF", 4)));
  EXPECT_EQ(HandleInput(), 1);
  EXPECT_THAT(events, ElementsAre("done 0 67"));
  Request(NewObject(OBEX_CMD_DISCONNECT));
  EXPECT_EQ(static_cast<unsigned char>(peer->Receive()[0]), 0x81);
}

TEST_F(ClientTest, ARefusedConnectMayLeaveOutTheRest) {
  Connect();
  Request(NewObject(OBEX_CMD_CONNECT));
  peer->Receive();
  peer->Send(packet(0xD3));
  EXPECT_EQ(HandleInput(), 1);
  EXPECT_THAT(events, ElementsAre("done 0 83"));
}

TEST_F(ClientTest, AConnectThatIsForbiddenForItsNameIsMadeWithoutIt) {
  RequestByName();
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

TEST_F(ClientTest, ARefusalOfThreeBytesIsEnoughForASecondConnect) {
  RequestByName();
  peer->Send(packet(0xC3));
  EXPECT_EQ(HandleInput(), 1);
  EXPECT_EQ(peer->Receive(), connect(""));
  EXPECT_THAT(events, IsEmpty());
}

TEST_F(ClientTest, TheOtherHeadersOfAConnectGoOutBothTimes) {
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

TEST_F(ClientTest, WhoForbidsBothIsAskedTwice) {
  RequestByName();
  Forbid();
  peer->Receive();
  peer->Send(kForbidden);
  EXPECT_EQ(HandleInput(), 1);
  EXPECT_THAT(events, ElementsAre("done 0 67"));
  Request(NewObject(OBEX_CMD_DISCONNECT));
  EXPECT_EQ(peer->Receive(), packet(0x81));
}

TEST_F(ClientTest, TheAnswerToTheSecondConnectIsTheOneThatIsHeard) {
  RequestByName();
  Forbid();
  peer->Receive();
  peer->Send(packet(0xD3));
  EXPECT_EQ(HandleInput(), 1);
  EXPECT_THAT(events, ElementsAre("done 0 83"));
}

TEST_F(ClientTest, ALinkHasOneSecondConnect) {
  RequestByName();
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

TEST_F(ClientTest, AForbiddenConnectIsHeardAtOnceWhereNoSecondIsWanted) {
  radioLink.repeats = false;
  RequestByName();
  peer->Send(kForbidden);
  EXPECT_EQ(HandleInput(), 1);
  EXPECT_THAT(events, ElementsAre("done 0 67"));
  Request(NewObject(OBEX_CMD_DISCONNECT));
  EXPECT_EQ(peer->Receive(), packet(0x81));
}

TEST_F(ClientTest, AForbiddenConnectIsHeardAtOnceWhereNobodyIsAsked) {
  setRadioLink(nullptr);
  RequestByName();
  peer->Send(kForbidden);
  EXPECT_EQ(HandleInput(), 1);
  EXPECT_THAT(events, ElementsAre("done 0 67"));
}

TEST_F(ClientTest, AnotherRefusalOfAConnectWithANameIsHeardAtOnce) {
  for (const int code : {0x90, 0xC0, 0xC1, 0xC4, 0xD0, 0xD3}) {
    events.clear();
    RequestByName();
    peer->Send(packet(code));
    EXPECT_EQ(HandleInput(), 1);
    EXPECT_THAT(events, ElementsAre("done 0 " + std::to_string(code & 0x7F)));
    Reopen();
    EXPECT_TRUE(peer->IsClosed()) << "no second CONNECT";
  }
}

TEST_F(ClientTest, SilenceAfterTheSecondConnectIsATimeOut) {
  RequestByName();
  Forbid();
  EXPECT_EQ(HandleInput(1), 0);
  EXPECT_EQ(HandleInput(0), 0);
  Cancel();
  EXPECT_EQ(HandleInput(0), -1);
  EXPECT_EQ(peer->Receive(), connect(""));
  EXPECT_TRUE(peer->IsClosed());
  EXPECT_THAT(events, ::testing::Not(Contains(::testing::HasSubstr("done"))));
}

TEST_F(ClientTest, APeerThatDiesBetweenTheConnectsIsALinkErrorOnce) {
  RequestByName();
  peer->Send(kForbidden);
  peer->Close();
  while (HandleInput() > 0) {
  }
  EXPECT_EQ(HandleInput(), -1);
  EXPECT_THAT(events, ElementsAre("LINKERR"));
}

TEST_F(ClientTest, APeerThatDiesAfterTheSecondConnectIsALinkErrorOnce) {
  RequestByName();
  Forbid();
  peer->Receive();
  peer->Close();
  EXPECT_EQ(HandleInput(), -1);
  EXPECT_THAT(events, ElementsAre("LINKERR"));
}

TEST_F(ClientTest, AHandleMayGoBetweenTheConnects) {
  RequestByName();
  Forbid();
  Reopen();
  EXPECT_EQ(peer->Receive(), connect(""));
  EXPECT_TRUE(peer->IsClosed());
}

TEST_F(ClientTest, AConnectThatWasGivenUpIsNotMadeAgain) {
  RequestByName();
  Cancel(1);
  peer->Send(kForbidden);
  while (HandleInput(0) > 0) {
  }
  Reopen();
  for (std::string sent = peer->Receive(); !sent.empty(); sent = peer->Receive()) {
    EXPECT_NE(sent, connect(""));
  }
}

TEST_F(ClientTest, TwoAnswersAtOnceAreForTheTwoConnects) {
  RequestByName();
  peer->Send(kForbidden + kSuccess);
  EXPECT_EQ(HandleInput(), 1);
  EXPECT_EQ(HandleInput(), 1);
  EXPECT_THAT(events, ElementsAre("done 0 32"));
}

TEST_F(ClientTest, ASilentPeerIsATimeOutAndCancellingEndsIt) {
  Connect();
  Request(NewObject(OBEX_CMD_CONNECT));
  EXPECT_EQ(HandleInput(0), 0);
  EXPECT_EQ(HandleInput(1), 0);
  Cancel();
  EXPECT_EQ(HandleInput(0), -1);
}

TEST_F(ClientTest, ADyingPeerIsALinkErrorOnce) {
  Connect();
  Request(NewObject(OBEX_CMD_CONNECT));
  peer->Close();
  EXPECT_EQ(HandleInput(), -1);
  EXPECT_EQ(HandleInput(), -1);
  EXPECT_THAT(events, ElementsAre("LINKERR"));
}

TEST_F(ClientTest, GarbageForAnAnswerIsALinkError) {
  Connect();
  Request(NewObject(OBEX_CMD_CONNECT));
  peer->Send(packet(0xA0, std::string("\x10\0\0\x01", 4)));
  EXPECT_EQ(HandleInput(), -1);
  EXPECT_THAT(events, ElementsAre("LINKERR"));
}

TEST_F(ClientTest, ImpossibleHeaderLengthsAreRefusedAndTheRestGoesOut) {
  Connect();
  void** object = NewObject(OBEX_CMD_PUT);
  obex_headerdata_t value{};
  EXPECT_LT(OBEX_ObjectAddHeader(nullptr, nullptr, OBEX_HDR_NAME, value, 0xFFFFFFFF, 0), 0);
  EXPECT_LT(Add(object, OBEX_HDR_NAME, ""), 0);
  EXPECT_LT(Add(object, OBEX_HDR_NAME, std::string(70000, 'x')), 0);
  EXPECT_GE(Add(object, OBEX_HDR_BODY, "body"), 0);
  Request(object);
  EXPECT_NE(peer->Receive(), "");
}

TEST_F(ClientTest, NobodyThereIsANegativeResult) {
  const bdaddr_t any{};
  const bdaddr_t nobody{{9, 9, 9, 9, 9, 9}};
  void** handle = OBEX_Init(
      OBEX_TRANS_BLUETOOTH, [](void**, void**, int, int, int, int) {}, 0);
  EXPECT_LT(BtOBEX_TransportConnect(handle, &any, &nobody, kChannel), 0);
  OBEX_Cleanup(handle);
}

TEST(LayerTest, CleaningUpNothingIsAllowed) { OBEX_Cleanup(nullptr); }

TEST(LayerTest, AnObjectThatIsNoneIsRefused) {
  void** handle = OBEX_Init(
      OBEX_TRANS_BLUETOOTH, [](void**, void**, int, int, int, int) {}, 0);
  obex_headerdata_t value{};
  EXPECT_LT(OBEX_ObjectAddHeader(handle, nullptr, OBEX_HDR_TYPE, value, 0, 0), 0);
  EXPECT_LT(OBEX_Request(handle, nullptr), 0);
  EXPECT_EQ(OBEX_HandleInput(handle, 0), -1);
  OBEX_Cleanup(handle);
}

}  // namespace
}  // namespace openobex
