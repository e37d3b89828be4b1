#include <fcntl.h>
#include <sys/socket.h>
#include <sys/syscall.h>

#include <cerrno>
#include <csignal>
#include <cstring>

#include "tests/radio/Process.h"
#include "tests/radio/RadioTest.h"

namespace radiotest {
namespace {

class DescriptorsTest : public RadioTest {
 protected:
  struct Pair {
    Descriptor one;
    Descriptor other;
  };

  static Pair MakePair() {
    int ends[2] = {-1, -1};
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    return {Descriptor(ends[0]), Descriptor(ends[1])};
  }

  static void ExpectLink(const Descriptor& descriptor) {
    EXPECT_EQ(PeerOf(descriptor), "66:77:88:99:AA:BB#4");
  }

  // Writes, so that the radio caches the descriptor as no radio socket.
  static void ExpectPlainStream(const Descriptor& descriptor, const Descriptor& otherEnd) {
    EXPECT_EQ(write(descriptor.get(), "x", 1), 1);
    EXPECT_EQ(Receive(otherEnd), "x");
  }

  // A free descriptor number that the radio has cached as no radio socket. close_range() bypasses
  // the radio, as some of the C library's own closes do.
  static int KnownNumber() {
    Pair pair = MakePair();
    ExpectPlainStream(pair.one, pair.other);
    const int number = pair.one.release();
    const auto bound = static_cast<unsigned>(number);
    EXPECT_EQ(close_range(bound, bound, 0), 0);
    return number;
  }

  // Only a radio socket fails with ECONNRESET, without SIGPIPE, after the peer has closed.
  static void ExpectBrokenLink(const Descriptor& descriptor) {
    EXPECT_EQ(write(descriptor.get(), "x", 1), -1);
    EXPECT_EQ(errno, ECONNRESET);
  }

  static void SendDescriptor(const Descriptor& way, const Descriptor& what);
  static Descriptor ReceiveDescriptor(const Descriptor& way);
};

union Control {
  cmsghdr align;
  char bytes[CMSG_SPACE(sizeof(int))];
};

msghdr MessageOf(iovec& part, Control& control) {
  msghdr message = {};
  message.msg_iov = &part;
  message.msg_iovlen = 1;
  message.msg_control = control.bytes;
  message.msg_controllen = sizeof control.bytes;
  return message;
}

void DescriptorsTest::SendDescriptor(const Descriptor& way, const Descriptor& what) {
  char byte = 'd';
  iovec part = {&byte, 1};
  Control control = {};
  const msghdr message = MessageOf(part, control);
  cmsghdr* header = CMSG_FIRSTHDR(&message);
  header->cmsg_level = SOL_SOCKET;
  header->cmsg_type = SCM_RIGHTS;
  header->cmsg_len = CMSG_LEN(sizeof(int));
  const int fd = what.get();
  std::memcpy(CMSG_DATA(header), &fd, sizeof fd);
  EXPECT_EQ(sendmsg(way.get(), &message, 0), 1);
}

Descriptor DescriptorsTest::ReceiveDescriptor(const Descriptor& way) {
  char byte = 0;
  iovec part = {&byte, 1};
  Control control = {};
  msghdr message = MessageOf(part, control);
  EXPECT_EQ(recvmsg(way.get(), &message, 0), 1);
  int fd = -1;
  std::memcpy(&fd, CMSG_DATA(CMSG_FIRSTHDR(&message)), sizeof fd);
  return Descriptor(fd);
}

TEST_F(DescriptorsTest, KeepsALinkWhoseDescriptorIsReplacedByAPair) {
  Link link = MakeLink();
  Pair pair = MakePair();
  const Descriptor kept(fcntl(link.called.get(), F_DUPFD_CLOEXEC, 3));
  ASSERT_EQ(dup2(pair.one.get(), link.called.get()), link.called.get());
  pair.one.close();
  ExpectPlainStream(link.called, pair.other);
  Send(link.caller, "card");
  link.caller.close();
  EXPECT_EQ(Receive(kept), "card");
  ExpectReset(kept);
  pair.other.close();
  EXPECT_EQ(Receive(link.called), "");
}

TEST_F(DescriptorsTest, SeesALinkDuplicatedOntoAPairsDescriptor) {
  Link link = MakeLink();
  Pair pair = MakePair();
  ExpectPlainStream(pair.one, pair.other);
  ASSERT_EQ(dup3(link.called.get(), pair.one.get(), O_CLOEXEC), pair.one.get());
  link.called.close();
  ExpectLink(pair.one);
  link.caller.close();
  ExpectReset(pair.one);
}

TEST_F(DescriptorsTest, SeesALinkDuplicatedToACachedDescriptor) {
  Link link = MakeLink();
  const int number = KnownNumber();
  const Descriptor again(fcntl(link.called.get(), F_DUPFD, number));
  ASSERT_EQ(again.get(), number);
  link.caller.close();
  ExpectBrokenLink(again);
}

TEST_F(DescriptorsTest, SeesALinkAcceptedOnACachedDescriptor) {
  const Descriptor listener = Listener(4);
  Descriptor caller = Call(listener);
  const int number = KnownNumber();
  const Descriptor called = Accept(listener);
  ASSERT_EQ(called.get(), number);
  caller.close();
  ExpectBrokenLink(called);
}

TEST_F(DescriptorsTest, ForgetsAClosedDescriptor) {
  Link link = MakeLink();
  Pair pair = MakePair();
  ExpectPlainStream(pair.one, pair.other);
  const int number = pair.one.get();
  pair.one.close();
  // A system call bypasses the radio.
  const Descriptor again(static_cast<int>(syscall(SYS_dup, link.called.get())));
  ASSERT_EQ(again.get(), number);
  link.caller.close();
  ExpectBrokenLink(again);
}

TEST_F(DescriptorsTest, EndsALinkWithItsLastDescriptor) {
  Link link = MakeLink();
  Descriptor copy(dup(link.caller.get()));
  link.caller.close();
  Send(copy, "still here");
  EXPECT_EQ(Receive(link.called), "still here");
  copy.close();
  ExpectReset(link.called);
}

TEST_F(DescriptorsTest, KeepsAListenerUntilItsLastDescriptorIsClosed) {
  Descriptor listener = Listener(4);
  Descriptor copy(dup(listener.get()));
  listener.close();
  EXPECT_EQ(NameOf(copy), "00:00:00:00:00:00#4");
  const Descriptor caller = Call(copy);
  copy.close();
  EXPECT_FALSE(std::filesystem::exists(channelFile("001122334455-04")));
}

TEST_F(DescriptorsTest, FreesTheChannelWhenTheListenersDescriptorIsReplaced) {
  const Descriptor listener = Listener(4);
  const Pair pair = MakePair();
  ASSERT_EQ(dup2(pair.one.get(), listener.get()), listener.get());
  EXPECT_FALSE(std::filesystem::exists(channelFile("001122334455-04")));
  ExpectPlainStream(listener, pair.other);
}

TEST_F(DescriptorsTest, IgnoresDuplicatingADescriptorOntoItself) {
  const Descriptor listener = Listener(4);
  EXPECT_EQ(dup2(listener.get(), listener.get()), listener.get());
  EXPECT_EQ(dup3(listener.get(), listener.get(), 0), -1);
  EXPECT_EQ(errno, EINVAL);
  const Descriptor caller = Call(listener);
}

TEST_F(DescriptorsTest, KeepsTheListenerWhenAChildEnds) {
  const Descriptor listener = Listener(4);
  Process::fork(kPhone, [&] { ::close(listener.get()); }).ExpectSuccess();
  const Descriptor caller = Call(listener);
  ExpectLink(Accept(listener));
}

TEST_F(DescriptorsTest, ChildServesLinksOfItsParentsListener) {
  Descriptor listener = Listener(4);
  Process child = Process::fork(kPhone, [&] { Send(Accept(listener), "from the child"); });
  const Descriptor caller = Call(listener);
  listener.close();
  EXPECT_EQ(Receive(caller), "from the child");
  ExpectReset(caller);
  child.ExpectSuccess();
}

TEST_F(DescriptorsTest, KeepsALinkSentToAnotherProcess) {
  Link link = MakeLink();
  Pair way = MakePair();
  Process other = Process::fork(kPhone, [&] {
    link.caller.close();
    link.called.close();
    const Descriptor received = ReceiveDescriptor(way.other);
    EXPECT_EQ(Receive(received), "card");
    ExpectReset(received);
  });
  SendDescriptor(way.one, link.called);
  link.called.close();
  Send(link.caller, "card");
  link.caller.close();
  other.ExpectSuccess();
}

TEST_F(DescriptorsTest, SeesALinkReceivedAsACachedDescriptor) {
  Link link = MakeLink();
  const Pair way = MakePair();
  SendDescriptor(way.one, link.called);
  const int number = KnownNumber();
  const Descriptor received = ReceiveDescriptor(way.other);
  ASSERT_EQ(received.get(), number);
  link.caller.close();
  ExpectBrokenLink(received);
}

TEST_F(DescriptorsTest, KeepsALinkAcrossExec) {
  Link link = MakeLink();
  Process::Settings settings;
  settings.input = link.called.get();
  settings.output = folder() / "output";
  settings.environment = {{"LD_PRELOAD", RADIO_LIBRARY}, {"LC_ALL", "C"}};
  Process cat = Process::run({"cat"}, settings);
  Send(link.caller, "card\n");
  shutdown(link.caller.get(), SHUT_RDWR);
  EXPECT_EQ(cat.Wait(), 1);
  EXPECT_EQ(contentOf(settings.output), "card\ncat: -: Connection reset by peer\n");
}

}  // namespace
}  // namespace radiotest
