#include <fcntl.h>
#include <poll.h>
#include <sys/uio.h>

#include <cerrno>
#include <csignal>
#include <ostream>

#include "tests/radio/Process.h"
#include "tests/radio/RadioTest.h"

// Called by programs built with _FORTIFY_SOURCE.
extern "C" {
ssize_t __read_chk(int fd, void* buffer, size_t length, size_t size);
ssize_t __recv_chk(int fd, void* buffer, size_t length, size_t size, int flags);
ssize_t __recvfrom_chk(int fd, void* buffer, size_t length, size_t size, int flags,
                       sockaddr* address, socklen_t* addressLength);
}

namespace radiotest {
namespace {

// A call that reads up to `size` bytes, and its name.
struct Reading {
  const char* name;
  ssize_t (*call)(int fd, char* buffer, size_t size);
};

void PrintTo(const Reading& reading, std::ostream* out) { *out << reading.name; }

ssize_t byRead(int fd, char* buffer, size_t size) { return read(fd, buffer, size); }
ssize_t byRecv(int fd, char* buffer, size_t size) { return recv(fd, buffer, size, 0); }
ssize_t byReadChecked(int fd, char* buffer, size_t size) {
  return __read_chk(fd, buffer, size, size);
}
ssize_t byRecvChecked(int fd, char* buffer, size_t size) {
  return __recv_chk(fd, buffer, size, size, 0);
}
ssize_t byReadv(int fd, char* buffer, size_t size) {
  const iovec parts[] = {{buffer, 0}, {buffer, size}};
  return readv(fd, parts, 2);
}

// A stream has no sender address: its length becomes 0.
ssize_t byRecvfrom(int fd, char* buffer, size_t size) {
  sockaddr_rc sender = {};
  socklen_t length = sizeof sender;
  const ssize_t got = recvfrom(fd, buffer, size, 0, reinterpret_cast<sockaddr*>(&sender), &length);
  EXPECT_TRUE(got < 0 || length == 0);
  return got;
}
ssize_t byRecvfromChecked(int fd, char* buffer, size_t size) {
  return __recvfrom_chk(fd, buffer, size, size, 0, nullptr, nullptr);
}

ssize_t byRecvmsg(int fd, char* buffer, size_t size) {
  iovec part = {buffer, size};
  sockaddr_rc sender = {};
  msghdr message = {};
  message.msg_name = &sender;
  message.msg_namelen = sizeof sender;
  message.msg_iov = &part;
  message.msg_iovlen = 1;
  const ssize_t got = recvmsg(fd, &message, 0);
  EXPECT_TRUE(got < 0 || message.msg_namelen == 0);
  return got;
}

ssize_t byRecvmmsg(int fd, char* buffer, size_t size) {
  iovec part = {buffer, size};
  mmsghdr message = {};
  message.msg_hdr.msg_iov = &part;
  message.msg_hdr.msg_iovlen = 1;
  const int got = recvmmsg(fd, &message, 1, 0, nullptr);
  return got == 1 ? static_cast<ssize_t>(message.msg_len) : got;
}

class ReadingTest : public RadioTest, public ::testing::WithParamInterface<Reading> {
 protected:
  ssize_t Read(const Descriptor& socket) {
    return GetParam().call(socket.get(), m_buffer, sizeof m_buffer);
  }

  void ExpectBytes(const Descriptor& socket, const std::string& text) {
    const ssize_t got = Read(socket);
    ASSERT_GE(got, 0);
    EXPECT_EQ(std::string(m_buffer, static_cast<size_t>(got)), text);
  }

  void ExpectError(const Descriptor& socket, int error) {
    errno = 0;
    EXPECT_EQ(Read(socket), -1);
    EXPECT_EQ(errno, error);
  }

 private:
  char m_buffer[100];
};

TEST_P(ReadingTest, ReturnsTheRemainingDataThenResetWhenThePeerCloses) {
  Link link = MakeLink();
  Send(link.caller, "last words");
  link.caller.close();
  ExpectBytes(link.called, "last words");
  ExpectError(link.called, ECONNRESET);
  ExpectError(link.called, ECONNRESET);
}

TEST_P(ReadingTest, ReturnsTheRemainingDataThenResetToTheCaller) {
  Link link = MakeLink();
  Send(link.called, "bye");
  link.called.close();
  ExpectBytes(link.caller, "bye");
  ExpectError(link.caller, ECONNRESET);
}

TEST_P(ReadingTest, DoesNotBlockOnANonBlockingLink) {
  const Link link = MakeLink();
  fcntl(link.called.get(), F_SETFL, O_NONBLOCK);
  ExpectError(link.called, EAGAIN);
}

TEST_P(ReadingTest, ReturnsEndOfFileAfterOwnShutdown) {
  const Link link = MakeLink();
  ASSERT_EQ(shutdown(link.called.get(), SHUT_RDWR), 0);
  ExpectBytes(link.called, "");
}

TEST_P(ReadingTest, ReturnsEndOfFileOnAnOrdinaryStream) {
  int ends[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
  const Descriptor reader(ends[0]);
  Send(Descriptor(ends[1]), "x");
  ExpectBytes(reader, "x");
  ExpectBytes(reader, "");
}

constexpr Reading kReadings[] = {{"read", byRead},
                                 {"recv", byRecv},
                                 {"readv", byReadv},
                                 {"recvfrom", byRecvfrom},
                                 {"recvmsg", byRecvmsg},
                                 {"recvmmsg", byRecvmmsg},
                                 {"read_chk", byReadChecked},
                                 {"recv_chk", byRecvChecked},
                                 {"recvfrom_chk", byRecvfromChecked}};
INSTANTIATE_TEST_SUITE_P(EveryCall, ReadingTest, ::testing::ValuesIn(kReadings),
                         [](const auto& reading) { return std::string(reading.param.name); });

struct Writing {
  const char* name;
  ssize_t (*call)(int fd, const char* data, size_t size);
};

void PrintTo(const Writing& writing, std::ostream* out) { *out << writing.name; }

ssize_t byWrite(int fd, const char* data, size_t size) { return write(fd, data, size); }
ssize_t bySend(int fd, const char* data, size_t size) { return send(fd, data, size, 0); }
ssize_t byWritev(int fd, const char* data, size_t size) {
  const iovec part = {const_cast<char*>(data), size};
  return writev(fd, &part, 1);
}

// The address is ignored.
ssize_t bySendto(int fd, const char* data, size_t size) {
  sockaddr_rc name = rcAddress(kNobody, 1);
  return sendto(fd, data, size, 0, reinterpret_cast<sockaddr*>(&name), sizeof name);
}

ssize_t bySendmsg(int fd, const char* data, size_t size) {
  iovec part = {const_cast<char*>(data), size};
  sockaddr_rc name = rcAddress(kNobody, 1);
  msghdr message = {};
  message.msg_name = &name;
  message.msg_namelen = sizeof name;
  message.msg_iov = &part;
  message.msg_iovlen = 1;
  return sendmsg(fd, &message, 0);
}

ssize_t bySendmmsg(int fd, const char* data, size_t size) {
  iovec part = {const_cast<char*>(data), size};
  mmsghdr message = {};
  message.msg_hdr.msg_iov = &part;
  message.msg_hdr.msg_iovlen = 1;
  const int sent = sendmmsg(fd, &message, 1, 0);
  return sent == 1 ? static_cast<ssize_t>(message.msg_len) : sent;
}

class WritingTest : public RadioTest, public ::testing::WithParamInterface<Writing> {
 protected:
  ssize_t Write(const Descriptor& socket) { return GetParam().call(socket.get(), "data", 4); }

  void ExpectError(const Descriptor& socket, int error) {
    errno = 0;
    EXPECT_EQ(Write(socket), -1);
    EXPECT_EQ(errno, error);
  }
};

TEST_P(WritingTest, ReachesThePeer) {
  const Link link = MakeLink();
  ASSERT_EQ(Write(link.caller), 4);
  EXPECT_EQ(Receive(link.called), "data");
}

// A SIGPIPE would kill the test.
TEST_P(WritingTest, FailsWithResetAndNoSignalWhenThePeerHasClosed) {
  Link link = MakeLink();
  link.called.close();
  ExpectError(link.caller, ECONNRESET);
  ExpectError(link.caller, ECONNRESET);
}

TEST_P(WritingTest, FailsWithBrokenPipeAndNoSignalAfterOwnShutdown) {
  const Link link = MakeLink();
  ASSERT_EQ(shutdown(link.caller.get(), SHUT_WR), 0);
  ExpectError(link.caller, EPIPE);
}

TEST_P(WritingTest, FailsWithoutALink) { ExpectError(Socket(), ENOTCONN); }

constexpr Writing kWritings[] = {{"write", byWrite},     {"send", bySend},
                                 {"writev", byWritev},   {"sendto", bySendto},
                                 {"sendmsg", bySendmsg}, {"sendmmsg", bySendmmsg}};
INSTANTIATE_TEST_SUITE_P(EveryCall, WritingTest, ::testing::ValuesIn(kWritings),
                         [](const auto& writing) { return std::string(writing.param.name); });

class ClosingTest : public RadioTest {};

TEST_F(ClosingTest, ResetsWhenThePeerIsKilled) {
  Process phone = Process::fork(kPhone, [] {
    const Descriptor link = Accept(Listener(4));
    Send(link, "alive");
    pause();
  });
  Become(kPeer);
  const Descriptor caller = CallSoon(kPhone, 4);
  EXPECT_EQ(Receive(caller), "alive");
  phone.Kill(SIGKILL);
  ExpectReset(caller);
}

TEST_F(ClosingTest, ReturnsAllDataOfAPeerThatClosedWithUnreadData) {
  Link link = MakeLink();
  Send(link.called, "never read");
  Send(link.caller, "last words");
  link.caller.close();
  EXPECT_EQ(Receive(link.called), "last words");
  ExpectReset(link.called);
  ExpectReset(link.called);
}

TEST_F(ClosingTest, WakesABlockedReaderWhenThePeerCloses) {
  Process phone = Process::fork(kPhone, [] { Accept(Listener(4)); });
  Become(kPeer);
  ExpectReset(CallSoon(kPhone, 4));
  phone.ExpectSuccess();
}

TEST_F(ClosingTest, ResetsTheSenderWhenThePeerClosesInMidTransfer) {
  Process phone = Process::fork(kPhone, [] {
    const Descriptor link = Accept(Listener(4));
    WaitReadable(link);
  });
  Become(kPeer);
  const Descriptor caller = CallSoon(kPhone, 4);
  const std::string block(60000, 'x');
  ssize_t sent = 0;
  while (sent >= 0) sent = send(caller.get(), block.data(), block.size(), 0);
  EXPECT_EQ(errno, ECONNRESET);
  phone.ExpectSuccess();
}

TEST_F(ClosingTest, ResetsAPeekButNotAnEmptyRead) {
  Link link = MakeLink();
  link.caller.close();
  char byte = 0;
  EXPECT_EQ(recv(link.called.get(), &byte, 1, MSG_PEEK | MSG_DONTWAIT), -1);
  EXPECT_EQ(errno, ECONNRESET);
  EXPECT_EQ(recv(link.called.get(), &byte, 0, 0), 0);
}

TEST_F(ClosingTest, PeekLeavesTheData) {
  const Link link = MakeLink();
  Send(link.caller, "card");
  char bytes[2];
  EXPECT_EQ(recv(link.called.get(), bytes, 2, MSG_PEEK | MSG_DONTWAIT), 2);
  EXPECT_EQ(Receive(link.called), "card");
}

TEST_F(ClosingTest, PollsReadableAndHungUpWhenThePeerHasClosed) {
  Link link = MakeLink();
  link.caller.close();
  pollfd wait = {link.called.get(), POLLIN, 0};
  ASSERT_EQ(poll(&wait, 1, 0), 1);
  EXPECT_EQ(wait.revents & (POLLIN | POLLHUP), POLLIN | POLLHUP);
}

TEST_F(ClosingTest, EndsTheWholeLinkWhenOneDirectionIsShutDown) {
  const Link link = MakeLink();
  Send(link.caller, "last words");
  ASSERT_EQ(shutdown(link.caller.get(), SHUT_WR), 0);
  EXPECT_EQ(Receive(link.called), "last words");
  ExpectReset(link.called);
  EXPECT_EQ(send(link.called.get(), "x", 1, 0), -1);
  EXPECT_EQ(errno, ECONNRESET);
}

TEST_F(ClosingTest, FailsToReadWithoutALink) {
  EXPECT_EQ(Receive(Socket()), "Transport endpoint is not connected");
  EXPECT_EQ(Receive(Listener(4)), "Transport endpoint is not connected");
}

TEST_F(ClosingTest, RejectsOutOfBandData) {
  const Link link = MakeLink();
  EXPECT_EQ(send(link.caller.get(), "!", 1, MSG_OOB), -1);
  EXPECT_EQ(errno, EOPNOTSUPP);
}

}  // namespace
}  // namespace radiotest
