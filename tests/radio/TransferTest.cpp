#include <fcntl.h>
#include <poll.h>

#include <cerrno>

#include "tests/radio/Process.h"
#include "tests/radio/RadioTest.h"

namespace radiotest {
namespace {

constexpr size_t kAmount = 500000;

class TransferTest : public RadioTest {
 protected:
  static std::string Pattern(unsigned seed) {
    std::string bytes(kAmount, '\0');
    for (char& byte : bytes) byte = static_cast<char>((seed = seed * 1103515245 + 12345) >> 16);
    return bytes;
  }

  // Sends `outgoing` and receives kAmount bytes, both at once.
  static std::string Exchange(const Descriptor& link, const std::string& outgoing) {
    fcntl(link.get(), F_SETFL, O_NONBLOCK);
    std::string incoming;
    size_t sent = 0;
    while (sent < outgoing.size() || incoming.size() < kAmount) {
      const short sending = sent < outgoing.size() ? POLLOUT : 0;
      pollfd wait = {link.get(), static_cast<short>(POLLIN | sending), 0};
      if (poll(&wait, 1, 60000) != 1) break;
      if ((wait.revents & POLLOUT) != 0) sent += SendSome(link, outgoing, sent);
      if ((wait.revents & POLLIN) != 0 && !ReceiveSome(link, incoming)) break;
    }
    return incoming;
  }

 private:
  static size_t SendSome(const Descriptor& link, const std::string& bytes, size_t from) {
    const ssize_t sent = send(link.get(), bytes.data() + from, bytes.size() - from, 0);
    return sent > 0 ? static_cast<size_t>(sent) : 0;
  }

  static bool ReceiveSome(const Descriptor& link, std::string& bytes) {
    char buffer[4096];
    const ssize_t got = recv(link.get(), buffer, sizeof buffer, 0);
    if (got > 0) bytes.append(buffer, static_cast<size_t>(got));
    return got > 0 || errno == EAGAIN;
  }
};

TEST_F(TransferTest, TransfersHalfAMillionBytesBothWaysAtOnce) {
  Process phone = Process::fork(kPhone, [] {
    const Descriptor link = Accept(Listener(4));
    EXPECT_TRUE(Exchange(link, Pattern(1)) == Pattern(2));
  });
  Become(kPeer);
  const Descriptor caller = CallSoon(kPhone, 4);
  EXPECT_TRUE(Exchange(caller, Pattern(2)) == Pattern(1));
  phone.ExpectSuccess();
}

TEST_F(TransferTest, BlocksASenderUntilASlowReaderReads) {
  const Link link = MakeLink();
  Process reader = Process::fork(kPhone, [&] {
    std::string bytes(kAmount, '\0');
    EXPECT_EQ(recv(link.called.get(), bytes.data(), kAmount, MSG_WAITALL),
              static_cast<ssize_t>(kAmount));
    EXPECT_TRUE(bytes == Pattern(3));
  });
  Send(link.caller, Pattern(3));
  reader.ExpectSuccess();
}

TEST_F(TransferTest, FailsANonBlockingSendWhenTheBufferIsFull) {
  const Link link = MakeLink();
  fcntl(link.caller.get(), F_SETFL, O_NONBLOCK);
  const std::string block(60000, 'x');
  while (send(link.caller.get(), block.data(), block.size(), 0) > 0) continue;
  EXPECT_EQ(errno, EAGAIN);
}

}  // namespace
}  // namespace radiotest
