// Handles on their own: registration, accepting, descriptors, misuse. All in one thread.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/resource.h>
#include <sys/select.h>

#include <cerrno>
#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "src/OBEXServer.h"
#include "tests/openobex/LinkSupport.h"
#include "tests/openobex/Packets.h"
#include "tests/support/WaitFor.h"

namespace openobex {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// Takes all descriptors below `limit`.
class TakenDescriptors {
 public:
  explicit TakenDescriptors(int limit) {
    int next = fcntl(STDERR_FILENO, F_DUPFD, 0);
    for (; next >= 0 && next < limit; next = fcntl(STDERR_FILENO, F_DUPFD, 0)) {
      m_taken.push_back(next);
    }
    close(next);
  }
  ~TakenDescriptors() {
    for (const int descriptor : m_taken) close(descriptor);
  }
  TakenDescriptors(const TakenDescriptors&) = delete;
  TakenDescriptors& operator=(const TakenDescriptors&) = delete;

 private:
  std::vector<int> m_taken;
};

std::vector<int> openDescriptors() {
  std::vector<int> open;
  for (int descriptor = 0; descriptor < 2 * FD_SETSIZE; ++descriptor) {
    if (fcntl(descriptor, F_GETFD) >= 0) open.push_back(descriptor);
  }
  return open;
}

class HandleTest : public ::testing::Test {
 protected:
  ~HandleTest() override {
    for (void** handle : m_handles) OBEX_Cleanup(handle);
  }

  void** Init() {
    m_handles.push_back(OBEX_Init(OBEX_TRANS_BLUETOOTH, &HandleTest::OnEvent, 0));
    OBEX_SetUserData(m_handles.back(), this);
    return m_handles.back();
  }
  void Cleanup(void** handle) {
    OBEX_Cleanup(handle);
    std::erase(m_handles, handle);
  }
  static int Register(void** handle) { return BtOBEX_ServerRegister(handle, nullptr, kChannel); }
  void** Listen() {
    void** handle = Init();
    EXPECT_GE(Register(handle), 0);
    return handle;
  }
  static int ConnectTo(void** handle, const bdaddr_t& destination) {
    return BtOBEX_TransportConnect(handle, nullptr, &destination, kChannel);
  }
  static std::unique_ptr<Peer> Connect() {
    const int socket = ::socket(AF_BLUETOOTH, SOCK_STREAM, BTPROTO_RFCOMM);
    const sockaddr_rc address = phoneAddress();
    EXPECT_EQ(connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    return std::make_unique<Peer>(socket);
  }

  Radio radio;
  RecordingRadioLink host;
  std::vector<std::string> events;

 private:
  static void OnEvent(void** handle, void** object, int mode, int event, int command, int) {
    auto* const test = static_cast<HandleTest*>(OBEX_GetUserData(handle));
    test->events.push_back(eventName(event) + (mode == OBEX_MODE_SERVER ? "" : " of a client"));
    if (event == OBEX_EV_REQ && command == OBEX_CMD_PUT) {
      OBEX_ObjectSetRsp(object, OBEX_RSP_CONTINUE, OBEX_RSP_SUCCESS);
    }
  }

  std::vector<void**> m_handles;
};

TEST_F(HandleTest, TellsTheHostThatItListensAndThatItStopped) {
  Cleanup(Listen());
  EXPECT_THAT(host.Told(), ElementsAre("listening 4", "stopped"));
}

TEST_F(HandleTest, TellsTheHostWhyItCannotListen) {
  Listen();
  void** second = Init();
  EXPECT_LT(Register(second), 0);
  EXPECT_LT(Register(second), 0);
  Cleanup(second);
  const std::string failure = "listen failed 4 " + std::to_string(EADDRINUSE);
  EXPECT_THAT(host.Told(), ElementsAre("listening 4", failure, failure));
}

TEST_F(HandleTest, ListensWhenTheChannelIsFreeAgain) {
  void** first = Listen();
  void** second = Init();
  EXPECT_LT(Register(second), 0);
  Cleanup(first);
  EXPECT_GE(Register(second), 0);
  const auto peer = Connect();
  EXPECT_EQ(OBEX_HandleInput(second, 60), 1);
}

TEST_F(HandleTest, ListensWithoutAHost) {
  setRadioLink(nullptr);
  void** first = Listen();
  EXPECT_LT(Register(Init()), 0);
  const auto peer = Connect();
  EXPECT_EQ(OBEX_HandleInput(first, 60), 1);
}

TEST_F(HandleTest, RegistersOnlyOnce) {
  void** handle = Listen();
  const std::vector<int> before = openDescriptors();
  EXPECT_LT(Register(handle), 0);
  EXPECT_EQ(openDescriptors(), before);
  EXPECT_THAT(host.Told(), ElementsAre("listening 4"));
}

TEST_F(HandleTest, AServerCannotConnect) {
  void** handle = Listen();
  EXPECT_LT(ConnectTo(handle, Radio::address()), 0);
}

TEST_F(HandleTest, AClientCannotConnectTwiceOrListen) {
  void** server = Listen();
  void** client = Init();
  ASSERT_GE(ConnectTo(client, Radio::address()), 0);
  const std::vector<int> before = openDescriptors();
  EXPECT_LT(ConnectTo(client, Radio::address()), 0);
  EXPECT_LT(Register(client), 0);
  EXPECT_EQ(openDescriptors(), before);
  ASSERT_EQ(OBEX_HandleInput(server, 60), 1);
  ASSERT_GE(OBEX_Request(client, OBEX_ObjectNew(client, OBEX_CMD_CONNECT)), 0);
  EXPECT_EQ(OBEX_HandleInput(client, 60), 1);
  EXPECT_EQ(OBEX_HandleInput(server, 60), 1);
  EXPECT_EQ(OBEX_HandleInput(client, 60), 1) << "the link still works";
}

TEST_F(HandleTest, AClientCannotConnectAgainAfterALinkError) {
  void** server = Listen();
  void** client = Init();
  ASSERT_GE(ConnectTo(client, Radio::address()), 0);
  Cleanup(server);
  EXPECT_EQ(OBEX_HandleInput(client, 60), -1);
  Listen();
  EXPECT_LT(ConnectTo(client, Radio::address()), 0);
}

TEST_F(HandleTest, ConnectingNeedsADestination) {
  EXPECT_LT(BtOBEX_TransportConnect(Init(), nullptr, nullptr, kChannel), 0);
}

TEST_F(HandleTest, ConnectingToNobodyFails) {
  EXPECT_LT(ConnectTo(Init(), {{9, 9, 9, 9, 9, 9}}), 0);
}

TEST_F(HandleTest, BindsTheGivenSourceAddress) {
  const bdaddr_t other{{9, 9, 9, 9, 9, 9}};
  EXPECT_LT(BtOBEX_ServerRegister(Init(), &other, kChannel), 0);
  const bdaddr_t own = Radio::address();
  EXPECT_GE(BtOBEX_ServerRegister(Init(), &own, kChannel), 0);
  EXPECT_LT(BtOBEX_TransportConnect(Init(), &other, &own, kChannel), 0);
  EXPECT_GE(BtOBEX_TransportConnect(Init(), &own, &own, kChannel), 0);
}

TEST_F(HandleTest, ListensOnAfterATimeOut) {
  void** handle = Listen();
  EXPECT_EQ(OBEX_HandleInput(handle, 0), 0);
  const auto peer = Connect();
  EXPECT_EQ(OBEX_HandleInput(handle, 60), 1);
}

TEST_F(HandleTest, NothingHappensOnAHandleThatIsNotConnected) {
  EXPECT_EQ(OBEX_HandleInput(Init(), 60), -1);
  EXPECT_THAT(events, IsEmpty());
}

TEST_F(HandleTest, NullIsRefused) {
  void** handle = Init();
  obex_headerdata_t value{};
  std::uint8_t identifier = 0;
  std::uint32_t size = 0;
  EXPECT_LT(OBEX_ObjectAddHeader(handle, nullptr, OBEX_HDR_TYPE, value, 0, 0), 0);
  EXPECT_EQ(OBEX_ObjectGetNextHeader(handle, nullptr, &identifier, &value, &size), 0);
  EXPECT_LT(OBEX_ObjectSetRsp(nullptr, OBEX_RSP_SUCCESS, OBEX_RSP_SUCCESS), 0);
  EXPECT_LT(OBEX_ObjectDelete(handle, nullptr), 0);
  EXPECT_LT(OBEX_Request(handle, nullptr), 0);
  OBEX_Cleanup(nullptr);
}

// Stopping while the channel is taken

TEST_F(HandleTest, RegistersWithoutASocketWhenTheHostIsStopping) {
  Listen();
  void** second = Init();
  host.stopping = true;
  const std::vector<int> before = openDescriptors();
  EXPECT_GE(Register(second), 0);
  EXPECT_EQ(openDescriptors(), before);
  EXPECT_EQ(OBEX_HandleInput(second, 3600), 0) << "without waiting for the time-out";
  EXPECT_EQ(OBEX_HandleInput(second, 0), 0);
  Cleanup(second);
  EXPECT_THAT(host.Told(), ElementsAre("listening 4"));
  EXPECT_THAT(events, IsEmpty());
}

TEST_F(HandleTest, AServerWithoutSocketDoesNotSpin) {
  host.stopping = true;
  void** handle = Listen();
  const auto begin = std::chrono::steady_clock::now();
  OBEX_HandleInput(handle, 1);
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(20));
}

TEST_F(HandleTest, AServerWithoutSocketCanNeitherRegisterNorConnect) {
  Listen();
  host.stopping = true;
  void** handle = Listen();
  host.stopping = false;
  EXPECT_LT(Register(handle), 0);
  EXPECT_LT(ConnectTo(handle, Radio::address()), 0);
}

TEST_F(HandleTest, AServerWithoutSocketReportsALinkErrorWhenTheHostGoesOn) {
  host.stopping = true;
  void** handle = Listen();
  host.stopping = false;
  EXPECT_EQ(OBEX_HandleInput(handle, 1), -1);
  EXPECT_EQ(OBEX_HandleInput(handle, 1), -1);
  EXPECT_THAT(events, ElementsAre("LINKERR"));
  Cleanup(handle);
  EXPECT_THAT(host.Told(), IsEmpty());
}

TEST_F(HandleTest, AListeningServerGoesOnWhileTheHostIsStopping) {
  void** handle = Listen();
  host.stopping = true;
  const auto peer = Connect();
  EXPECT_EQ(OBEX_HandleInput(handle, 60), 1);
}

TEST_F(HandleTest, TheServiceEndsAServerWhoseChannelIsTaken) {
  Listen();
  OBEXServer server;
  std::thread thread([&] { server.run(); });
  const auto tries = [&] { return host.Told().size(); };
  EXPECT_TRUE(test::waitFor([&] { return tries() > 20; })) << "more than one cycle";
  server.setEnable(false);
  const std::size_t before = tries();
  EXPECT_TRUE(test::waitFor([&] { return tries() > before + 20; })) << "goes on regardless";
  host.stopping = true;
  thread.join();
}

// Descriptors

TEST_F(HandleTest, DoesNotUseDescriptorsThatSelectCannotHandle) {
  Listen();
  void** server = Init();
  void** client = Init();
  const TakenDescriptors taken(FD_SETSIZE);
  const std::vector<int> before = openDescriptors();
  EXPECT_LT(ConnectTo(client, Radio::address()), 0);
  EXPECT_LT(BtOBEX_ServerRegister(server, nullptr, kChannel + 1), 0);
  EXPECT_LT(BtOBEX_ServerRegister(server, nullptr, kChannel + 1), 0);
  EXPECT_EQ(OBEX_HandleInput(server, 60), -1);
  Cleanup(server);
  EXPECT_EQ(openDescriptors(), before);
  EXPECT_THAT(host.Told(), ElementsAre("listening 4", "listen failed 5 " + std::to_string(EMFILE)));
  EXPECT_THAT(events, IsEmpty());
}

TEST_F(HandleTest, AClientMayConnectAgainWhenDescriptorsAreFree) {
  Listen();
  void** client = Init();
  {
    const TakenDescriptors taken(FD_SETSIZE);
    EXPECT_LT(ConnectTo(client, Radio::address()), 0);
  }
  EXPECT_GE(ConnectTo(client, Radio::address()), 0);
}

TEST_F(HandleTest, APeerWhoseDescriptorSelectCannotHandleIsALinkError) {
  void** handle = Listen();
  const auto peer = Connect();
  const TakenDescriptors taken(FD_SETSIZE);
  EXPECT_EQ(OBEX_HandleInput(handle, 60), -1);
  EXPECT_EQ(OBEX_HandleInput(handle, 60), -1);
  EXPECT_THAT(events, ElementsAre("LINKERR"));
}

TEST_F(HandleTest, AnAcceptThatFailsIsALinkErrorAndLeavesNoDescriptor) {
  void** handle = Listen();
  const std::vector<int> before = openDescriptors();
  const auto peer = Connect();
  rlimit limit{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
  const rlimit none{static_cast<rlim_t>(before.back() + 1), limit.rlim_max};
  {
    const TakenDescriptors taken(before.back() + 2);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    EXPECT_EQ(OBEX_HandleInput(handle, 60), -1);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
  }
  EXPECT_EQ(OBEX_HandleInput(handle, 60), -1);
  EXPECT_THAT(events, ElementsAre("LINKERR"));
  peer->Close();
  EXPECT_EQ(openDescriptors().size(), before.size() - 1) << "the listener is closed, once";
}

TEST_F(HandleTest, DescriptorsAreCloseOnExecAndTheListenerDoesNotBlock) {
  std::vector<int> known = openDescriptors();
  void** handle = Listen();
  for (const int descriptor : openDescriptors()) {
    if (std::find(known.begin(), known.end(), descriptor) != known.end()) continue;
    EXPECT_NE(fcntl(descriptor, F_GETFD) & FD_CLOEXEC, 0) << descriptor;
    EXPECT_NE(fcntl(descriptor, F_GETFL) & O_NONBLOCK, 0) << descriptor;
  }
  const auto peer = Connect();
  known = openDescriptors();
  ASSERT_EQ(OBEX_HandleInput(handle, 60), 1);
  for (const int descriptor : openDescriptors()) {
    if (std::find(known.begin(), known.end(), descriptor) != known.end()) continue;
    EXPECT_NE(fcntl(descriptor, F_GETFD) & FD_CLOEXEC, 0) << descriptor;
  }
}

TEST_F(HandleTest, CleaningUpLeavesNoDescriptor) {
  const std::vector<int> before = openDescriptors();
  void** server = Listen();
  void** client = Init();
  ASSERT_GE(ConnectTo(client, Radio::address()), 0);
  ASSERT_EQ(OBEX_HandleInput(server, 60), 1);
  Cleanup(client);
  Cleanup(server);
  EXPECT_EQ(openDescriptors(), before);
}

TEST_F(HandleTest, NobodyElseIsAcceptedWhileAPeerIsServed) {
  void** handle = OBEX_Init(
      OBEX_TRANS_BLUETOOTH, [](void**, void**, int, int, int, int) {}, OBEX_FL_KEEPSERVER);
  ASSERT_GE(Register(handle), 0);
  const auto first = Connect();
  ASSERT_EQ(OBEX_HandleInput(handle, 60), 1);
  const int socket = ::socket(AF_BLUETOOTH, SOCK_STREAM, BTPROTO_RFCOMM);
  const Peer second(socket);
  const sockaddr_rc address = phoneAddress();
  EXPECT_NE(connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  OBEX_Cleanup(handle);
}

// Cleaning up in the middle of a request

TEST_F(HandleTest, CleaningUpInMidObjectCallsNobodyAndTellsTheHost) {
  void** handle = Listen();
  const auto peer = Connect();
  peer->Send(packet(0x02, nameHeader("a.vcf") + header(OBEX_HDR_BODY, "half")));
  ASSERT_EQ(OBEX_HandleInput(handle, 60), 1);
  ASSERT_EQ(OBEX_HandleInput(handle, 60), 1);
  EXPECT_EQ(peer->ReceiveCode(), 0x90);
  events.clear();
  Cleanup(handle);
  EXPECT_THAT(events, IsEmpty());
  EXPECT_THAT(host.Told(), ElementsAre("listening 4", "accepted 00:11:22:33:44:55",
                                       "object a.vcf 4", "closed: closed by this side", "stopped"));
  EXPECT_TRUE(peer->IsClosed());
}

TEST_F(HandleTest, CleaningUpInMidObjectFreesIt) {
  constexpr int kRounds = 16;
  constexpr std::size_t kHalf = 60000;
  std::size_t before = 0;
  for (int round = 0; round < kRounds; ++round) {
    void** handle = Listen();
    const auto peer = Connect();
    peer->Send(packet(0x02, header(OBEX_HDR_BODY, std::string(kHalf, 'x'))));
    OBEX_HandleInput(handle, 60);
    ASSERT_EQ(OBEX_HandleInput(handle, 60), 1);
    Cleanup(handle);
    host.Forget();
    events.clear();
    if (round == 0) before = mallinfo2().uordblks;
  }
  EXPECT_LT(mallinfo2().uordblks, before + kRounds / 2 * kHalf);
}

}  // namespace
}  // namespace openobex
