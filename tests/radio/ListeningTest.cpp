#include <fcntl.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <cerrno>
#include <fstream>

#include "tests/radio/Process.h"
#include "tests/radio/RadioTest.h"

namespace radiotest {
namespace {

class ListeningTest : public RadioTest {
 protected:
  // What a process leaves that was killed while it listened.
  void LeaveDeadListener(int channel) {
    Process::fork(kPhone, [&] { Listener(channel).release(); }).ExpectSuccess();
  }

  int ConnectAsStranger(const std::string& file) {
    m_stranger = Descriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un name = {};
    name.sun_family = AF_UNIX;
    channelFile(file).string().copy(name.sun_path, sizeof name.sun_path - 1);
    return connect(m_stranger.get(), reinterpret_cast<sockaddr*>(&name), sizeof name);
  }

  static void ExpectNobodyWaits(const Descriptor& listener) {
    fcntl(listener.get(), F_SETFL, O_NONBLOCK);
    EXPECT_EQ(accept(listener.get(), nullptr, nullptr), -1);
    EXPECT_EQ(errno, EAGAIN);
  }

 private:
  Descriptor m_stranger;
};

TEST_F(ListeningTest, AChannelThatIsListenedOnCannotBeBoundAgain) {
  const Descriptor first = Listener(4);
  const Descriptor second = Socket();
  EXPECT_EQ(Bind(second, kPhone, 4), EADDRINUSE);
}

TEST_F(ListeningTest, AChannelThatIsOnlyBoundIsTakenToo) {
  const Descriptor first = Socket();
  ASSERT_EQ(Bind(first, kPhone, 4), 0);
  const Descriptor second = Socket();
  EXPECT_EQ(Bind(second, kPhone, 4), EADDRINUSE);
}

TEST_F(ListeningTest, AChannelTakenByAnotherProcessIsTaken) {
  const Descriptor first = Listener(4);
  Process::fork(kPhone, [] {
    const Descriptor second = Socket();
    EXPECT_EQ(Bind(second, kPhone, 4), EADDRINUSE);
  }).ExpectSuccess();
}

TEST_F(ListeningTest, TheSameChannelOfAnotherTelephoneIsFree) {
  const Descriptor first = Listener(4);
  Become(kPeer);
  const Descriptor second = Socket();
  EXPECT_EQ(Bind(second, kPeer, 4), 0);
}

TEST_F(ListeningTest, ASocketThatFoundItsChannelTakenMayBindAnother) {
  const Descriptor first = Listener(4);
  const Descriptor second = Socket();
  ASSERT_EQ(Bind(second, kPhone, 4), EADDRINUSE);
  EXPECT_EQ(Bind(second, kPhone, 5), 0);
}

TEST_F(ListeningTest, TheAddressOfAnotherTelephoneCannotBeBound) {
  EXPECT_EQ(Bind(Socket(), kPeer, 4), EADDRNOTAVAIL);
}

TEST_F(ListeningTest, ChannelsBeyondThirtyDoNotExist) {
  EXPECT_EQ(Bind(Socket(), kPhone, 30), 0);
  EXPECT_EQ(Bind(Socket(), kPhone, 31), EINVAL);
  EXPECT_EQ(Bind(Socket(), kPhone, 255), EINVAL);
}

TEST_F(ListeningTest, ChannelZeroTakesTheFirstFreeOne) {
  const Descriptor taken = Listener(1);
  const Descriptor automatic = Listener(0);
  EXPECT_EQ(NameOf(automatic), "00:00:00:00:00:00#2");
}

TEST_F(ListeningTest, WhenAllThirtyChannelsAreTakenNoneIsFound) {
  std::vector<Descriptor> taken;
  for (int channel = 1; channel <= 30; ++channel) taken.push_back(Listener(channel));
  const Descriptor late = Socket();
  ASSERT_EQ(Bind(late, kPhone, 0), 0);
  EXPECT_EQ(Listen(late, 1), EINVAL);
}

TEST_F(ListeningTest, AnAddressOfAnotherFamilyCannotBeBound) {
  const Descriptor socket = Socket();
  sockaddr_un name = {};
  name.sun_family = AF_UNIX;
  EXPECT_EQ(bind(socket.get(), reinterpret_cast<sockaddr*>(&name), sizeof name), -1);
  EXPECT_EQ(errno, EINVAL);
}

TEST_F(ListeningTest, ASocketIsBoundOnce) {
  const Descriptor socket = Socket();
  ASSERT_EQ(Bind(socket, kPhone, 4), 0);
  EXPECT_EQ(Bind(socket, kPhone, 5), EBADFD);
}

TEST_F(ListeningTest, OnlyABoundSocketCanListen) { EXPECT_EQ(Listen(Socket(), 1), EBADFD); }

TEST_F(ListeningTest, OnlyAListeningSocketAccepts) {
  const Descriptor socket = Socket();
  EXPECT_EQ(accept(socket.get(), nullptr, nullptr), -1);
  EXPECT_EQ(errno, EBADFD);
}

TEST_F(ListeningTest, AClosedListenerLeavesItsChannelFreeAndNoFile) {
  Descriptor first = Listener(4);
  ASSERT_TRUE(std::filesystem::exists(channelFile("001122334455-04")));
  first.close();
  EXPECT_FALSE(std::filesystem::exists(channelFile("001122334455-04")));
  EXPECT_EQ(Bind(Socket(), kPhone, 4), 0);
}

TEST_F(ListeningTest, AListenerThatIsShutDownAcceptsNoMoreAndFreesItsChannel) {
  const Descriptor listener = Listener(4);
  ASSERT_EQ(shutdown(listener.get(), SHUT_RDWR), 0);
  EXPECT_EQ(accept(listener.get(), nullptr, nullptr), -1);
  EXPECT_EQ(errno, EBADFD);
  EXPECT_EQ(Bind(Socket(), kPhone, 4), 0);
}

TEST_F(ListeningTest, TheChannelOfADeadProcessIsFree) {
  LeaveDeadListener(4);
  ASSERT_TRUE(std::filesystem::exists(channelFile("001122334455-04")));
  const Descriptor next = Listener(4);
  const Descriptor caller = Call(next);
  EXPECT_EQ(NameOf(Accept(next)), "00:11:22:33:44:55#4");
}

TEST_F(ListeningTest, AutomaticChannelsPassOverTheLivingOnly) {
  const Descriptor living = Listener(1);
  LeaveDeadListener(2);
  EXPECT_EQ(NameOf(Listener(0)), "00:00:00:00:00:00#2");
}

TEST_F(ListeningTest, OfManyWhoWantADeadOnesChannelOneGetsIt) {
  LeaveDeadListener(4);
  int results[2];
  ASSERT_EQ(pipe(results), 0);
  std::vector<Process> racers;
  for (int i = 0; i < 8; ++i) {
    racers.push_back(Process::fork(kPhone, [&] {
      const Descriptor socket = Socket();
      const char won = Bind(socket, kPhone, 4) == 0 ? 'w' : 'l';
      EXPECT_EQ(write(results[1], &won, 1), 1);
      pause();
    }));
  }
  std::string outcome(racers.size(), '?');
  for (char& one : outcome) ASSERT_EQ(read(results[0], &one, 1), 1);
  EXPECT_EQ(std::count(outcome.begin(), outcome.end(), 'w'), 1) << outcome;
  close(results[0]);
  close(results[1]);
}

TEST_F(ListeningTest, AFileThatIsNoSocketIsNotRemoved) {
  std::ofstream(channelFile("001122334455-04")) << "precious";
  EXPECT_EQ(Bind(Socket(), kPhone, 4), EADDRINUSE);
  EXPECT_EQ(contentOf(channelFile("001122334455-04")), "precious");
}

TEST_F(ListeningTest, BeyondTheBacklogCallersAreRefusedUntilOneIsAccepted) {
  const Descriptor listener = Listener(4, 1);
  const Descriptor first = Call(listener);
  const Descriptor second = Call(listener);
  EXPECT_EQ(Connect(Socket(), kPhone, 4), ECONNREFUSED);
  const Descriptor accepted = Accept(listener);
  const Descriptor third = Call(listener);
}

TEST_F(ListeningTest, WhoBindsButDoesNotListenRefuses) {
  const Descriptor bound = Socket();
  ASSERT_EQ(Bind(bound, kPhone, 4), 0);
  EXPECT_EQ(Connect(Socket(), kPhone, 4), ECONNREFUSED);
  ASSERT_EQ(Listen(bound, 1), 0);
  EXPECT_EQ(Connect(Socket(), kPhone, 4), 0);
}

TEST_F(ListeningTest, AcceptTellsWhoCallsWithoutAByteFromIt) {
  const Descriptor listener = Listener(4);
  const Descriptor silent = Call(listener);
  sockaddr_rc caller = {};
  socklen_t length = sizeof caller;
  const Descriptor link(accept(listener.get(), reinterpret_cast<sockaddr*>(&caller), &length));
  ASSERT_GE(link.get(), 0);
  EXPECT_EQ(textOf(caller), "66:77:88:99:AA:BB#4");
  EXPECT_EQ(length, sizeof caller);
}

TEST_F(ListeningTest, AcceptTellsWhoCalledEvenWhenItHasGone) {
  const Descriptor listener = Listener(4);
  Descriptor gone = Call(listener);
  gone.close();
  sockaddr_rc caller = {};
  socklen_t length = sizeof caller;
  const Descriptor link(accept(listener.get(), reinterpret_cast<sockaddr*>(&caller), &length));
  ASSERT_GE(link.get(), 0);
  EXPECT_EQ(textOf(caller), "66:77:88:99:AA:BB#4");
}

TEST_F(ListeningTest, AcceptWritesNoMoreOfTheAddressThanThereIsRoomFor) {
  const Descriptor listener = Listener(4);
  const Descriptor caller = Call(listener);
  unsigned char room[sizeof(sockaddr_rc)];
  std::fill(std::begin(room), std::end(room), static_cast<unsigned char>(0xEE));
  socklen_t length = 4;
  const Descriptor link(accept(listener.get(), reinterpret_cast<sockaddr*>(room), &length));
  ASSERT_GE(link.get(), 0);
  EXPECT_EQ(length, sizeof(sockaddr_rc));
  EXPECT_EQ(room[2], 0xBB);
  EXPECT_EQ(room[4], 0xEE);
}

TEST_F(ListeningTest, AcceptSetsTheFlagsItIsAskedFor) {
  const Descriptor listener = Listener(4);
  const Descriptor caller = Call(listener);
  const Descriptor link(accept4(listener.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
  EXPECT_NE(fcntl(link.get(), F_GETFL) & O_NONBLOCK, 0);
  EXPECT_EQ(fcntl(link.get(), F_GETFD), FD_CLOEXEC);
}

TEST_F(ListeningTest, ANonBlockingListenerDoesNotWait) { ExpectNobodyWaits(Listener(4)); }

TEST_F(ListeningTest, AStrangerWithoutAnAddressIsNotLetIn) {
  const Descriptor listener = Listener(4);
  ASSERT_EQ(ConnectAsStranger("001122334455-04"), 0);
  ExpectNobodyWaits(listener);
  const Descriptor caller = Call(listener);
  EXPECT_EQ(PeerOf(Accept(listener)), "66:77:88:99:AA:BB#4");
}

}  // namespace
}  // namespace radiotest
