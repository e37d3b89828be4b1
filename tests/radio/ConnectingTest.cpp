#include <poll.h>

#include <cerrno>

#include "tests/radio/Process.h"
#include "tests/radio/RadioTest.h"

namespace radiotest {
namespace {

class ConnectingTest : public RadioTest {
 protected:
  static int ErrorOf(const Descriptor& socket) {
    int error = -1;
    socklen_t length = sizeof error;
    EXPECT_EQ(getsockopt(socket.get(), SOL_SOCKET, SO_ERROR, &error, &length), 0);
    return error;
  }
};

TEST_F(ConnectingTest, ShowsBothEndsBothAddressesAndTheListenersChannel) {
  const Link link = MakeLink(4);
  EXPECT_EQ(NameOf(link.caller), "66:77:88:99:AA:BB#4");
  EXPECT_EQ(PeerOf(link.caller), "00:11:22:33:44:55#4");
  EXPECT_EQ(NameOf(link.called), "00:11:22:33:44:55#4");
  EXPECT_EQ(PeerOf(link.called), "66:77:88:99:AA:BB#4");
}

TEST_F(ConnectingTest, ShowsBothProcessesTheSameNames) {
  Process phone = Process::fork(kPhone, [] {
    const Descriptor link = Accept(Listener(4));
    EXPECT_EQ(PeerOf(link), "66:77:88:99:AA:BB#4");
    Send(link, "hello");
    ExpectReset(link);
  });
  Become(kPeer);
  Descriptor caller = CallSoon(kPhone, 4);
  EXPECT_EQ(PeerOf(caller), "00:11:22:33:44:55#4");
  EXPECT_EQ(Receive(caller), "hello");
  caller.close();
  phone.ExpectSuccess();
}

TEST_F(ConnectingTest, NamesAListenerOnAnyAddressAsAny) {
  EXPECT_EQ(NameOf(Listener(4)), "00:00:00:00:00:00#4");
}

TEST_F(ConnectingTest, NamesABoundSocketAsItWasBound) {
  const Descriptor socket = Socket();
  EXPECT_EQ(NameOf(socket), "00:00:00:00:00:00#0");
  ASSERT_EQ(Bind(socket, kPhone, 7), 0);
  EXPECT_EQ(NameOf(socket), "00:11:22:33:44:55#7");
}

TEST_F(ConnectingTest, HasNoPeerWithoutALink) {
  EXPECT_EQ(PeerOf(Socket()), "Transport endpoint is not connected");
  EXPECT_EQ(PeerOf(Listener(4)), "Transport endpoint is not connected");
}

TEST_F(ConnectingTest, HasNoPeerWhenThePeerHasClosed) {
  Link link = MakeLink();
  link.caller.close();
  EXPECT_EQ(PeerOf(link.called), "Transport endpoint is not connected");
}

TEST_F(ConnectingTest, KeepsLocalNamesAfterShutdown) {
  const Link link = MakeLink();
  ASSERT_EQ(shutdown(link.caller.get(), SHUT_RDWR), 0);
  ASSERT_EQ(shutdown(link.called.get(), SHUT_RDWR), 0);
  EXPECT_EQ(NameOf(link.caller), "66:77:88:99:AA:BB#4");
  EXPECT_EQ(NameOf(link.called), "00:11:22:33:44:55#4");
  EXPECT_EQ(PeerOf(link.called), "Transport endpoint is not connected");
}

TEST_F(ConnectingTest, ConnectsASocketBoundToItsOwnAddress) {
  const Descriptor listener = Listener(4);
  Become(kPeer);
  const Descriptor caller = Socket();
  ASSERT_EQ(Bind(caller, kPeer, 0), 0);
  ASSERT_EQ(Connect(caller, kPhone, 4), 0);
  EXPECT_EQ(PeerOf(Accept(listener)), "66:77:88:99:AA:BB#4");
}

TEST_F(ConnectingTest, FreesTheBoundChannelWhenConnecting) {
  const Descriptor listener = Listener(4);
  Become(kPeer);
  const Descriptor caller = Socket();
  ASSERT_EQ(Bind(caller, kPeer, 9), 0);
  ASSERT_EQ(Connect(caller, kPhone, 4), 0);
  EXPECT_EQ(NameOf(caller), "66:77:88:99:AA:BB#4");
  EXPECT_EQ(PeerOf(Accept(listener)), "66:77:88:99:AA:BB#4");
  EXPECT_EQ(Bind(Socket(), kPeer, 9), 0);
}

TEST_F(ConnectingTest, IsRefusedWhenNobodyListens) {
  const Descriptor other = Listener(5);
  EXPECT_EQ(Connect(Socket(), kPhone, 4), ECONNREFUSED);
}

TEST_F(ConnectingTest, FindsTheHostDownWhenTheAddressWasNeverUsed) {
  EXPECT_EQ(Connect(Socket(), kNobody, 4), EHOSTDOWN);
}

TEST_F(ConnectingTest, IsRefusedByADeadListenerAndRemovesItsFile) {
  Process::fork(kPeer, [] { Listener(4).release(); }).ExpectSuccess();
  ASSERT_TRUE(std::filesystem::exists(channelFile("66778899AABB-04")));
  EXPECT_EQ(Connect(Socket(), kPeer, 4), ECONNREFUSED);
  EXPECT_FALSE(std::filesystem::exists(channelFile("66778899AABB-04")));
}

TEST_F(ConnectingTest, RejectsChannelsOutsideOneToThirty) {
  EXPECT_EQ(Connect(Socket(), kPhone, 0), EINVAL);
  EXPECT_EQ(Connect(Socket(), kPhone, 31), EINVAL);
}

TEST_F(ConnectingTest, RejectsAShortAddress) {
  const Descriptor socket = Socket();
  sockaddr_rc name = rcAddress(kPhone, 4);
  EXPECT_EQ(connect(socket.get(), reinterpret_cast<sockaddr*>(&name), 8), -1);
  EXPECT_EQ(errno, EINVAL);
}

TEST_F(ConnectingTest, RejectsASecondConnect) {
  const Descriptor listener = Listener(4);
  const Descriptor caller = Call(listener);
  EXPECT_EQ(Connect(caller, kPhone, 4), EBADFD);
}

TEST_F(ConnectingTest, RejectsAConnectAfterARefusal) {
  const Descriptor caller = Socket();
  ASSERT_EQ(Connect(caller, kPhone, 4), ECONNREFUSED);
  const Descriptor listener = Listener(4);
  EXPECT_EQ(Connect(caller, kPhone, 4), EBADFD);
}

TEST_F(ConnectingTest, CompletesANonBlockingConnectLater) {
  const Descriptor listener = Listener(4);
  const Descriptor caller = Socket(SOCK_NONBLOCK);
  ASSERT_EQ(Connect(caller, kPhone, 4), EINPROGRESS);
  pollfd wait = {caller.get(), POLLOUT, 0};
  ASSERT_EQ(poll(&wait, 1, 60000), 1);
  EXPECT_EQ(wait.revents, POLLOUT);
  EXPECT_EQ(ErrorOf(caller), 0);
  Send(caller, "x");
  EXPECT_EQ(Receive(Accept(listener)), "x");
}

TEST_F(ConnectingTest, KeepsASocketBlockingAfterConnecting) {
  const Link link = MakeLink();
  Process slow = Process::fork(kPeer, [&] { Send(link.caller, "late"); });
  EXPECT_EQ(Receive(link.called), "late");
}

}  // namespace
}  // namespace radiotest
