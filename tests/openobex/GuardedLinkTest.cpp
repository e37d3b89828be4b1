#include "openobex/GuardedLink.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <thread>

#include "tests/openobex/Packets.h"
#include "tests/support/WaitFor.h"

namespace openobex {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using Side = PacketGuard::Side;
using Result = GuardedLink::Result;

/// A guarded link with this test at both ends: as the peer behind the radio's descriptor, and as
/// the library behind the descriptor that the link replaced. Its clock moves when a test says so.
class GuardedLinkTest : public ::testing::Test {
 protected:
  explicit GuardedLinkTest(Side side = Side::kServer)
      : link(std::make_unique<GuardedLink>(side, [] { return s_now; })) {
    int ends[2];
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends), 0);
    peer = ends[0];
    library = ends[1];
    EXPECT_TRUE(link->open(library));
  }
  ~GuardedLinkTest() override {
    close(peer);
    close(library);
  }

  void PeerSends(const std::string& bytes) {
    ASSERT_EQ(send(peer, bytes.data(), bytes.size(), MSG_NOSIGNAL), std::ssize(bytes));
  }
  void LibraryWrites(const std::string& bytes) {
    ASSERT_EQ(write(library, bytes.data(), bytes.size()), std::ssize(bytes));
  }
  static std::string ReadAll(int descriptor) {
    std::string bytes(1 << 18, '\0');
    const ssize_t got = recv(descriptor, bytes.data(), bytes.size(), MSG_DONTWAIT);
    bytes.resize(got < 0 ? 0 : static_cast<std::size_t>(got));
    return bytes;
  }
  static void Pass(seconds time) { s_now += time; }
  Result Receive() { return link->receive(milliseconds(0)); }
  void ExpectCloses(const std::string& reason) {
    EXPECT_EQ(Receive(), Result::kClosed);
    EXPECT_EQ(link->reason(), reason);
  }
  /// Fills the way to the peer, and leaves `answer` waiting behind that.
  void AnswerPeerThatDoesNotRead(const std::string& answer) {
    const std::string filler(1 << 16, 'x');
    while (send(link->radio(), filler.data(), filler.size(), MSG_DONTWAIT) > 0) {
    }
    LibraryWrites(answer);
    ASSERT_TRUE(link->carryAnswers());
  }

  static bool IsAsleep(pid_t thread) {
    std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
    const std::string stat(std::istreambuf_iterator<char>(file), {});
    return stat.find(") S ") != std::string::npos;
  }

  std::unique_ptr<GuardedLink> link;
  int peer = -1;
  int library = -1;

 private:
  static inline GuardedLink::Clock::time_point s_now{std::chrono::hours(1)};
};

class GuardedClientLinkTest : public GuardedLinkTest {
 protected:
  GuardedClientLinkTest() : GuardedLinkTest(Side::kClient) {}
};

TEST_F(GuardedLinkTest, HandsOverAWholePacketOnly) {
  const std::string put = packet(0x82, header(OBEX_HDR_BODY_END, "body"));
  for (const char c : put.substr(0, put.size() - 1)) {
    PeerSends(std::string(1, c));
    EXPECT_EQ(Receive(), Result::kTimeOut);
  }
  PeerSends(put.substr(put.size() - 1));
  ASSERT_EQ(Receive(), Result::kPacket);
  EXPECT_FALSE(link->hasUnreadInput());
  ASSERT_TRUE(link->handOver());
  EXPECT_TRUE(link->hasUnreadInput());
  EXPECT_EQ(ReadAll(library), put);
  EXPECT_FALSE(link->hasUnreadInput());
}

TEST_F(GuardedLinkTest, LeavesTheNextPacketForTheNextCall) {
  PeerSends(packet(0x82, header(OBEX_HDR_TYPE, "first")) + packet(0x81));
  for (const std::string& expected : {packet(0x82, header(OBEX_HDR_TYPE, "first")), packet(0x81)}) {
    ASSERT_EQ(Receive(), Result::kPacket);
    ASSERT_TRUE(link->handOver());
    EXPECT_EQ(ReadAll(library), expected);
  }
  EXPECT_EQ(Receive(), Result::kTimeOut);
}

TEST_F(GuardedLinkTest, TakesAPacketOfTheLargestSizeInOneWrite) {
  const std::string put = packet(0x82, header(OBEX_HDR_BODY_END, std::string(65535 - 6, 'x')));
  PeerSends(put);
  ASSERT_EQ(Receive(), Result::kPacket);
  ASSERT_TRUE(link->handOver());
  EXPECT_EQ(ReadAll(library), put);
  LibraryWrites(packet(0xA0, header(OBEX_HDR_TYPE, std::string(65535 - 6, 'y'))));
  ASSERT_TRUE(link->carryAnswers());
  EXPECT_EQ(ReadAll(peer).size(), 65535U);
}

TEST_F(GuardedLinkTest, KnowsTheCodesOfTheLastPackets) {
  EXPECT_EQ(link->lastReceived(), -1);
  EXPECT_EQ(link->lastSent(), -1);
  PeerSends(packet(0x82));
  ASSERT_EQ(Receive(), Result::kPacket);
  EXPECT_EQ(link->lastReceived(), 0x02);
  LibraryWrites(packet(0xA0));
  ASSERT_TRUE(link->carryAnswers());
  EXPECT_EQ(link->lastSent(), 0x20);
  PeerSends(packet(0x81));
  ASSERT_EQ(Receive(), Result::kPacket);
  EXPECT_EQ(link->lastSent(), -1) << "no response to this packet yet";
}

TEST_F(GuardedLinkTest, ClosesWhenThePacketLengthIsInvalid) {
  PeerSends({"\x82\0\2", 3});
  ExpectCloses("invalid packet length");
}

TEST_F(GuardedLinkTest, ClosesWhenTheGuardRefusesThePacket) {
  PeerSends(packet(0x82, {"\x48\0\0x", 4}));
  ExpectCloses("header length too small");
}

TEST_F(GuardedLinkTest, ClosesWhenThePeerHasGone) {
  PeerSends("\x82");
  ASSERT_EQ(shutdown(peer, SHUT_WR), 0);
  ExpectCloses("closed by the peer");
}

TEST_F(GuardedLinkTest, ClosesWhenTheConnectionIsReset) {
  LibraryWrites(packet(0xA0));
  ASSERT_TRUE(link->carryAnswers());
  close(peer);  // with bytes that it hasn't read
  peer = -1;
  ExpectCloses("closed by the peer");
}

TEST_F(GuardedLinkTest, WritingToAPeerThatHasGoneFailsWithoutASignal) {
  close(peer);
  peer = -1;
  LibraryWrites(packet(0xA0));
  EXPECT_FALSE(link->carryAnswers());
  EXPECT_EQ(link->reason(), "closed by the peer");
}

TEST_F(GuardedLinkTest, HandingOverToALibraryThatHasGoneFailsWithoutASignal) {
  PeerSends(packet(0x81));
  ASSERT_EQ(Receive(), Result::kPacket);
  close(library);
  library = -1;
  EXPECT_FALSE(link->handOver());
}

TEST_F(GuardedLinkTest, RefusesOutputThatIsNoPacket) {
  for (const std::string& output : {std::string("\xA0\0\2", 3), packet(0xA0) + "\xA0",
                                    packet(0xA0).substr(0, 2), std::string("\xA0\0\4", 3)}) {
    GuardedLink other(Side::kServer);
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    ASSERT_TRUE(other.open(ends[1]));
    ASSERT_EQ(write(ends[1], output.data(), output.size()), std::ssize(output));
    EXPECT_FALSE(other.carryAnswers());
    EXPECT_EQ(other.reason(), "the OBEX library wrote an invalid packet");
    close(ends[0]);
    close(ends[1]);
  }
}

TEST_F(GuardedLinkTest, IsClosedAfterThirtySecondsWithoutAByte) {
  Pass(seconds(kMaxIdleSeconds) - seconds(1));
  EXPECT_EQ(Receive(), Result::kTimeOut);
  Pass(seconds(1));
  ExpectCloses("the peer was idle for too long");
}

TEST_F(GuardedLinkTest, EveryByteStartsTheIdleTimeAnew) {
  for (const char c : packet(0x82).substr(0, 2)) {
    Pass(seconds(kMaxIdleSeconds) - seconds(1));
    PeerSends(std::string(1, c));
    EXPECT_EQ(Receive(), Result::kTimeOut);
  }
  Pass(seconds(kMaxIdleSeconds));
  ExpectCloses("the peer was idle for too long");
}

TEST_F(GuardedLinkTest, AResponseStartsTheIdleTimeAnew) {
  PeerSends(packet(0x81));
  ASSERT_EQ(Receive(), Result::kPacket);
  Pass(seconds(2 * kMaxIdleSeconds));  // in a callback
  LibraryWrites(packet(0xA0));
  ASSERT_TRUE(link->carryAnswers());
  EXPECT_EQ(Receive(), Result::kTimeOut);
  Pass(seconds(kMaxIdleSeconds));
  ExpectCloses("the peer was idle for too long");
}

/// A peer that sends a packet of this length byte by byte, one each second. Returns the second at
/// which the link was closed, -1 when the packet came through.
int SecondsUntilClosed(std::size_t length) {
  static GuardedLink::Clock::time_point now;
  now = GuardedLink::Clock::time_point(std::chrono::hours(1));
  GuardedLink link(Side::kServer, [] { return now; });
  int ends[2];
  EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
  EXPECT_TRUE(link.open(ends[1]));
  const std::string bytes = packet(0x82, header(OBEX_HDR_BODY_END, std::string(length - 6, 'x')));
  int result = -1;
  for (std::size_t second = 0; second < length && result < 0; ++second, now += seconds(1)) {
    EXPECT_EQ(send(ends[0], &bytes[second], 1, MSG_NOSIGNAL), 1);
    if (link.receive(milliseconds(0)) != Result::kClosed) continue;
    EXPECT_EQ(link.reason(), "the peer took too long to send a packet");
    result = static_cast<int>(second);
  }
  close(ends[0]);
  close(ends[1]);
  return result;
}

TEST(GuardedLinkPacketTimeTest, APacketMayTakeSixtySecondsPlusItsLengthAtTwoKilobytesASecond) {
  EXPECT_EQ(SecondsUntilClosed(60), -1);
  EXPECT_EQ(SecondsUntilClosed(1000), 61);
  EXPECT_EQ(SecondsUntilClosed(65535), 92);
}

TEST_F(GuardedLinkTest, TheTimeOfAPacketBeginsWithItsFirstByte) {
  PeerSends(packet(0x81));
  ASSERT_EQ(Receive(), Result::kPacket);
  LibraryWrites(packet(0xA0));
  ASSERT_TRUE(link->carryAnswers());
  for (int i = 0; i < 4; ++i) {  // longer than a packet may take
    Pass(seconds(kMaxIdleSeconds) - seconds(1));
    PeerSends(packet(0x81));
    ASSERT_EQ(Receive(), Result::kPacket);
  }
  Pass(seconds(kMaxIdleSeconds) - seconds(1));
  EXPECT_EQ(Receive(), Result::kTimeOut);
}

TEST_F(GuardedLinkTest, ClosesAPeerThatDoesNotReadTheResponse) {
  AnswerPeerThatDoesNotRead(packet(0xA0));
  Pass(seconds(kMaxIdleSeconds) - seconds(1));
  EXPECT_EQ(Receive(), Result::kTimeOut);
  Pass(seconds(1));
  ExpectCloses("the peer did not read the response");
}

TEST_F(GuardedLinkTest, ReadsNothingWhileAResponseIsNotYetSent) {
  AnswerPeerThatDoesNotRead(packet(0xA0));
  PeerSends(packet(0x81));
  EXPECT_EQ(Receive(), Result::kTimeOut);
  while (!ReadAll(peer).empty()) {
  }
  EXPECT_EQ(Receive(), Result::kPacket);
  EXPECT_EQ(ReadAll(peer), packet(0xA0));
}

TEST_F(GuardedLinkTest, WaitsForThePeerToReadWithinItsTimeOut) {
  GuardedLink other(Side::kServer);
  int ends[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
  ASSERT_TRUE(other.open(ends[1]));
  const std::string filler(1 << 16, 'x');
  while (send(other.radio(), filler.data(), filler.size(), MSG_DONTWAIT) > 0) {
  }
  const std::string answer = packet(0xA0);
  ASSERT_EQ(write(ends[1], answer.data(), answer.size()), std::ssize(answer));
  ASSERT_TRUE(other.carryAnswers());
  std::thread reader([&, waiting = gettid()] {
    EXPECT_TRUE(test::waitFor([&] { return IsAsleep(waiting); }));
    std::string read;
    EXPECT_TRUE(test::waitFor([&] {
      read += ReadAll(ends[0]);
      return read.ends_with(answer);
    }));
    send(ends[0], answer.data(), answer.size(), MSG_NOSIGNAL);
  });
  EXPECT_EQ(other.receive(seconds(60)), Result::kPacket);
  reader.join();
  close(ends[0]);
  close(ends[1]);
}

TEST_F(GuardedLinkTest, ClosesAPeerThatReadsTheResponseTooSlowly) {
  constexpr int kSmallest = 1;  // so that the response goes out in many pieces
  setsockopt(link->radio(), SOL_SOCKET, SO_SNDBUF, &kSmallest, sizeof kSmallest);
  AnswerPeerThatDoesNotRead(packet(0xA0, header(OBEX_HDR_TYPE, std::string(60000, 'x'))));
  int passed = 0;
  for (; passed < 300 && Receive() == Result::kTimeOut; passed += 10) {
    EXPECT_FALSE(ReadAll(peer).empty()) << "not idle";
    Pass(seconds(10));
  }
  EXPECT_GE(passed, kMaxPacketSeconds);
  EXPECT_LE(passed, kMaxPacketSeconds + 60000 / kMinBytesPerSecond + 10);
  EXPECT_EQ(link->reason(), "the peer did not read the response");
}

TEST_F(GuardedClientLinkTest, AServerMayBeSilentForAsLongAsTheCallerWaits) {
  LibraryWrites(packet(0x80, {"\x10\0\xFF\xFF", 4}));
  ASSERT_TRUE(link->carryAnswers());
  Pass(seconds(10 * kMaxPacketSeconds));
  EXPECT_EQ(Receive(), Result::kTimeOut);
  PeerSends("\xA0");
  EXPECT_EQ(Receive(), Result::kTimeOut);
  Pass(seconds(10 * kMaxPacketSeconds));
  EXPECT_EQ(Receive(), Result::kTimeOut);
}

TEST_F(GuardedClientLinkTest, SendsNothingThatTheGuardRefuses) {
  LibraryWrites(packet(0x02));
  EXPECT_FALSE(link->carryAnswers());
  EXPECT_EQ(link->reason(), "a header exceeds the peer's packet size");
  EXPECT_EQ(ReadAll(peer), "");
}

TEST_F(GuardedClientLinkTest, AnAbortGoesOutWithItsFinalBit) {
  LibraryWrites(packet(0x7F));
  ASSERT_TRUE(link->carryAnswers());
  EXPECT_EQ(ReadAll(peer), packet(0xFF));
  EXPECT_EQ(link->lastSent(), 0x7F);
}

TEST_F(GuardedClientLinkTest, ARefusedConnectIsCompletedWithTheSmallestPacketSize) {
  LibraryWrites(packet(0x80, {"\x10\0\xFF\xFF", 4}));
  ASSERT_TRUE(link->carryAnswers());
  PeerSends(packet(0xC3));
  ASSERT_EQ(Receive(), Result::kPacket);
  ASSERT_TRUE(link->handOver());
  EXPECT_EQ(ReadAll(library), packet(0xC3, {"\x10\0\0\xFF", 4}));
}

TEST_F(GuardedClientLinkTest, AnAcceptedConnectIsHandedOverAsItIs) {
  LibraryWrites(packet(0x80, {"\x10\0\xFF\xFF", 4}));
  ASSERT_TRUE(link->carryAnswers());
  const std::string answer = packet(0xA0, {"\x10\0\x12\x34", 4});
  PeerSends(answer);
  ASSERT_EQ(Receive(), Result::kPacket);
  ASSERT_TRUE(link->handOver());
  EXPECT_EQ(ReadAll(library), answer);
}

TEST_F(GuardedClientLinkTest, ARefusedPutIsHandedOverAsItIs) {
  LibraryWrites(packet(0x82, header(OBEX_HDR_BODY_END, "x")));
  ASSERT_TRUE(link->carryAnswers());
  PeerSends(packet(0xC3));
  ASSERT_EQ(Receive(), Result::kPacket);
  ASSERT_TRUE(link->handOver());
  EXPECT_EQ(ReadAll(library), packet(0xC3));
}

TEST_F(GuardedLinkTest, ClosesItsDescriptorsOnlyAndOnExec) {
  const int radio = link->radio();
  EXPECT_NE(fcntl(radio, F_GETFD) & FD_CLOEXEC, 0);
  EXPECT_NE(fcntl(library, F_GETFD) & FD_CLOEXEC, 0);
  EXPECT_NE(fcntl(library, F_GETFL) & O_NONBLOCK, 0);
  PeerSends(packet(0x81));
  ASSERT_EQ(Receive(), Result::kPacket);
  link.reset();
  EXPECT_EQ(fcntl(radio, F_GETFD), -1);
  char byte = 0;
  EXPECT_EQ(recv(peer, &byte, 1, 0), 0) << "the peer sees the end";
  EXPECT_EQ(recv(library, &byte, 1, 0), 0) << "the library's descriptor stays open";
}

TEST_F(GuardedLinkTest, OpeningFailsWithoutDescriptorsAndLeavesNone) {
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
  const int next = fcntl(peer, F_DUPFD, 0);
  close(next);
  for (int room = 0; room < 3; ++room) {
    const rlimit limit{static_cast<rlim_t>(next + room), before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    EXPECT_FALSE(GuardedLink(Side::kServer).open(library)) << room;
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
    const int free = fcntl(peer, F_DUPFD, 0);
    EXPECT_EQ(free, next) << room;
    close(free);
  }
}

}  // namespace
}  // namespace openobex
