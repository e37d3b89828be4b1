#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fstream>
#include <numeric>

#include "tests/radio/Process.h"
#include "tests/radio/RadioTest.h"
#include "tests/support/WaitFor.h"

namespace radiotest {
namespace {

class ListeningTest : public RadioTest {
 protected:
  // Leaves the file of a process that died while it listened.
  void LeaveDeadListener(int channel) {
    Process::fork(kPhone, [&] { Listener(channel).release(); }).ExpectSuccess();
  }

  void LeaveDeadListeners() {
    Process::fork(kPhone, [&] {
      for (int channel = 1; channel <= 30; ++channel) Listener(channel).release();
    }).ExpectSuccess();
  }

  // Binds and keeps every free channel; writes the number of each to `report`, then 0.
  static void BindAll(int report) {
    for (unsigned char channel = 1; channel <= 30; ++channel) {
      Descriptor socket = Socket();
      if (Bind(socket, kPhone, channel) != 0) continue;
      EXPECT_EQ(write(report, &channel, 1), 1);
      socket.release();
    }
    EXPECT_EQ(write(report, "", 1), 1);
  }

  // Voluntary context switches: waiting for the lock causes thousands.
  static long Waits() {
    rusage usage = {};
    EXPECT_EQ(getrusage(RUSAGE_SELF, &usage), 0);
    return usage.ru_nvcsw;
  }

  bool LockIsHeld() const {
    const Descriptor lock(open(channelFile("lock").c_str(), O_RDWR | O_CLOEXEC));
    return flock(lock.get(), LOCK_EX | LOCK_NB) != 0;
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

TEST_F(ListeningTest, RejectsAChannelThatIsListenedOn) {
  const Descriptor first = Listener(4);
  const Descriptor second = Socket();
  EXPECT_EQ(Bind(second, kPhone, 4), EADDRINUSE);
}

TEST_F(ListeningTest, RejectsAChannelThatIsBound) {
  const Descriptor first = Socket();
  ASSERT_EQ(Bind(first, kPhone, 4), 0);
  const Descriptor second = Socket();
  EXPECT_EQ(Bind(second, kPhone, 4), EADDRINUSE);
}

TEST_F(ListeningTest, RejectsAChannelOfAnotherProcess) {
  const Descriptor first = Listener(4);
  Process::fork(kPhone, [] {
    const Descriptor second = Socket();
    EXPECT_EQ(Bind(second, kPhone, 4), EADDRINUSE);
  }).ExpectSuccess();
}

TEST_F(ListeningTest, BindsTheSameChannelOfAnotherDevice) {
  const Descriptor first = Listener(4);
  Become(kPeer);
  const Descriptor second = Socket();
  EXPECT_EQ(Bind(second, kPeer, 4), 0);
}

TEST_F(ListeningTest, CanBindAnotherChannelAfterARefusal) {
  const Descriptor first = Listener(4);
  const Descriptor second = Socket();
  ASSERT_EQ(Bind(second, kPhone, 4), EADDRINUSE);
  EXPECT_EQ(Bind(second, kPhone, 5), 0);
}

TEST_F(ListeningTest, RejectsTheAddressOfAnotherDevice) {
  EXPECT_EQ(Bind(Socket(), kPeer, 4), EADDRNOTAVAIL);
}

TEST_F(ListeningTest, RejectsChannelsBeyondThirty) {
  EXPECT_EQ(Bind(Socket(), kPhone, 30), 0);
  EXPECT_EQ(Bind(Socket(), kPhone, 31), EINVAL);
  EXPECT_EQ(Bind(Socket(), kPhone, 255), EINVAL);
}

TEST_F(ListeningTest, TakesTheFirstFreeChannelForZero) {
  const Descriptor taken = Listener(1);
  const Descriptor automatic = Listener(0);
  EXPECT_EQ(NameOf(automatic), "00:00:00:00:00:00#2");
}

TEST_F(ListeningTest, FindsNoChannelWhenAllAreTaken) {
  std::vector<Descriptor> taken;
  for (int channel = 1; channel <= 30; ++channel) taken.push_back(Listener(channel));
  const Descriptor late = Socket();
  ASSERT_EQ(Bind(late, kPhone, 0), 0);
  EXPECT_EQ(Listen(late, 1), EINVAL);
}

TEST_F(ListeningTest, RejectsAnAddressOfAnotherFamily) {
  const Descriptor socket = Socket();
  sockaddr_un name = {};
  name.sun_family = AF_UNIX;
  EXPECT_EQ(bind(socket.get(), reinterpret_cast<sockaddr*>(&name), sizeof name), -1);
  EXPECT_EQ(errno, EINVAL);
}

TEST_F(ListeningTest, RejectsASecondBind) {
  const Descriptor socket = Socket();
  ASSERT_EQ(Bind(socket, kPhone, 4), 0);
  EXPECT_EQ(Bind(socket, kPhone, 5), EBADFD);
}

TEST_F(ListeningTest, RejectsListenBeforeBind) { EXPECT_EQ(Listen(Socket(), 1), EBADFD); }

TEST_F(ListeningTest, RejectsAcceptBeforeListen) {
  const Descriptor socket = Socket();
  EXPECT_EQ(accept(socket.get(), nullptr, nullptr), -1);
  EXPECT_EQ(errno, EBADFD);
}

TEST_F(ListeningTest, FreesChannelAndFileWhenClosed) {
  Descriptor first = Listener(4);
  Descriptor bound = Socket();
  ASSERT_EQ(Bind(bound, kPhone, 5), 0);
  ASSERT_TRUE(std::filesystem::exists(channelFile("001122334455-05")));
  bound.close();
  EXPECT_FALSE(std::filesystem::exists(channelFile("001122334455-05")));
  ASSERT_TRUE(std::filesystem::exists(channelFile("001122334455-04")));
  first.close();
  EXPECT_FALSE(std::filesystem::exists(channelFile("001122334455-04")));
  EXPECT_EQ(Bind(Socket(), kPhone, 4), 0);
}

// Because a signal handler may close a listener while its own thread holds the lock.
TEST_F(ListeningTest, ClosesWithoutWaitingForTheLock) {
  Descriptor listener = Listener(4);
  const Descriptor lock(open(channelFile("lock").c_str(), O_RDWR | O_CLOEXEC));
  ASSERT_EQ(flock(lock.get(), LOCK_EX), 0);
  const long waits = Waits();
  listener.close();
  EXPECT_TRUE(std::filesystem::exists(channelFile("001122334455-04")));
  EXPECT_EQ(Connect(Socket(), kPhone, 4), ECONNREFUSED);
  EXPECT_LT(Waits() - waits, 1000);
  ASSERT_EQ(flock(lock.get(), LOCK_UN), 0);
  EXPECT_EQ(Bind(Socket(), kPhone, 4), 0);
}

TEST_F(ListeningTest, WaitsForTheLockToBind) {
  const Descriptor first = Listener(1);  // creates the lock file
  Process holder = Process::fork(kPeer, [&] {
    const Descriptor lock(open(channelFile("lock").c_str(), O_RDWR | O_CLOEXEC));
    // A shared lock blocks only those that want an exclusive one.
    ASSERT_EQ(flock(lock.get(), LOCK_SH), 0);
    pause();
  });
  ASSERT_TRUE(test::waitFor([&] { return LockIsHeld(); }));
  Process binder = Process::fork(kPhone, [&] { EXPECT_EQ(Bind(Socket(), kPhone, 4), 0); });
  ASSERT_TRUE(test::waitFor([&] { return binder.HasOpen(channelFile("lock")); }));
  EXPECT_FALSE(std::filesystem::exists(channelFile("001122334455-04")));
  holder.Kill(SIGKILL);
  binder.ExpectSuccess();
}

TEST_F(ListeningTest, StopsAcceptingAndFreesTheChannelWhenShutDown) {
  const Descriptor listener = Listener(4);
  ASSERT_EQ(shutdown(listener.get(), SHUT_RDWR), 0);
  EXPECT_EQ(accept(listener.get(), nullptr, nullptr), -1);
  EXPECT_EQ(errno, EBADFD);
  EXPECT_EQ(Bind(Socket(), kPhone, 4), 0);
}

TEST_F(ListeningTest, TakesTheChannelOfADeadProcess) {
  LeaveDeadListener(4);
  ASSERT_TRUE(std::filesystem::exists(channelFile("001122334455-04")));
  const Descriptor next = Listener(4);
  const Descriptor caller = Call(next);
  EXPECT_EQ(NameOf(Accept(next)), "00:11:22:33:44:55#4");
}

TEST_F(ListeningTest, TakesADeadListenersChannelForZero) {
  const Descriptor living = Listener(1);
  LeaveDeadListener(2);
  EXPECT_EQ(NameOf(Listener(0)), "00:00:00:00:00:00#2");
}

// Several processes bind the channels of a dead one: each channel must be won exactly once.
TEST_F(ListeningTest, GivesADeadListenersChannelToOneOfManyRacers) {
  LeaveDeadListeners();
  int results[2];
  int start[2];
  ASSERT_EQ(pipe(results), 0);
  ASSERT_EQ(pipe(start), 0);
  std::vector<Process> racers;
  for (int i = 0; i < 8; ++i) {
    racers.push_back(Process::fork(kPhone, [&] {
      close(start[1]);
      char never = 0;
      EXPECT_EQ(read(start[0], &never, 1), 0);
      BindAll(results[1]);
      pause();
    }));
  }
  close(start[1]);
  std::vector<int> wins;
  for (size_t ended = 0; ended < racers.size();) {
    unsigned char channel = 0;
    ASSERT_EQ(read(results[0], &channel, 1), 1);
    channel == 0 ? static_cast<void>(++ended) : wins.push_back(channel);
  }
  std::sort(wins.begin(), wins.end());
  std::vector<int> each(30);
  std::iota(each.begin(), each.end(), 1);
  EXPECT_EQ(wins, each);
  for (const int fd : {results[0], results[1], start[0]}) close(fd);
}

TEST_F(ListeningTest, KeepsAFileThatIsNoSocket) {
  std::ofstream(channelFile("001122334455-04")) << "precious";
  EXPECT_EQ(Bind(Socket(), kPhone, 4), EADDRINUSE);
  EXPECT_EQ(contentOf(channelFile("001122334455-04")), "precious");
}

TEST_F(ListeningTest, RefusesCallersBeyondTheBacklogUntilOneIsAccepted) {
  const Descriptor listener = Listener(4, 1);
  const Descriptor first = Call(listener);
  const Descriptor second = Call(listener);
  EXPECT_EQ(Connect(Socket(), kPhone, 4), ECONNREFUSED);
  const Descriptor accepted = Accept(listener);
  const Descriptor third = Call(listener);
}

TEST_F(ListeningTest, RefusesCallersBeforeListening) {
  const Descriptor bound = Socket();
  ASSERT_EQ(Bind(bound, kPhone, 4), 0);
  EXPECT_EQ(Connect(Socket(), kPhone, 4), ECONNREFUSED);
  ASSERT_EQ(Listen(bound, 1), 0);
  EXPECT_EQ(Connect(Socket(), kPhone, 4), 0);
}

TEST_F(ListeningTest, ReturnsTheAddressOfASilentCaller) {
  const Descriptor listener = Listener(4);
  const Descriptor silent = Call(listener);
  sockaddr_rc caller = {};
  socklen_t length = sizeof caller;
  const Descriptor link(accept(listener.get(), reinterpret_cast<sockaddr*>(&caller), &length));
  ASSERT_GE(link.get(), 0);
  EXPECT_EQ(textOf(caller), "66:77:88:99:AA:BB#4");
  EXPECT_EQ(length, sizeof caller);
}

TEST_F(ListeningTest, ReturnsTheAddressOfACallerThatHasClosed) {
  const Descriptor listener = Listener(4);
  Descriptor gone = Call(listener);
  gone.close();
  sockaddr_rc caller = {};
  socklen_t length = sizeof caller;
  const Descriptor link(accept(listener.get(), reinterpret_cast<sockaddr*>(&caller), &length));
  ASSERT_GE(link.get(), 0);
  EXPECT_EQ(textOf(caller), "66:77:88:99:AA:BB#4");
}

TEST_F(ListeningTest, CutsOffTheAddressAtTheBuffersEnd) {
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

TEST_F(ListeningTest, SetsTheFlagsOfAccept4) {
  const Descriptor listener = Listener(4);
  const Descriptor caller = Call(listener);
  const Descriptor link(accept4(listener.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
  EXPECT_NE(fcntl(link.get(), F_GETFL) & O_NONBLOCK, 0);
  EXPECT_EQ(fcntl(link.get(), F_GETFD), FD_CLOEXEC);
}

TEST_F(ListeningTest, DoesNotBlockANonBlockingAccept) { ExpectNobodyWaits(Listener(4)); }

TEST_F(ListeningTest, DropsACallerWithoutAnAddress) {
  const Descriptor listener = Listener(4);
  ASSERT_EQ(ConnectAsStranger("001122334455-04"), 0);
  ExpectNobodyWaits(listener);
  const Descriptor caller = Call(listener);
  EXPECT_EQ(PeerOf(Accept(listener)), "66:77:88:99:AA:BB#4");
}

}  // namespace
}  // namespace radiotest
