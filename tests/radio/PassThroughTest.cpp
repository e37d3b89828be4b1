#include <fcntl.h>
#include <netinet/in.h>
#include <sys/syscall.h>

#include <cerrno>
#include <csignal>

#include "tests/radio/Process.h"
#include "tests/radio/RadioTest.h"

namespace radiotest {
namespace {

// Whatever isn't a radio socket works as without the radio.
class PassThroughTest : public RadioTest {
 protected:
  static void ExpectAsTheKernelSays(int family, int type, int protocol) {
    const Descriptor radios(socket(family, type, protocol));
    const int error = errno;
    const Descriptor kernels(static_cast<int>(syscall(SYS_socket, family, type, protocol)));
    EXPECT_EQ(radios.get() < 0, kernels.get() < 0);
    EXPECT_TRUE(kernels.get() >= 0 || error == errno);
  }
};

TEST_F(PassThroughTest, PassesOtherBluetoothSocketsToTheKernel) {
  ExpectAsTheKernelSays(AF_BLUETOOTH, SOCK_RAW, BTPROTO_HCI);
  ExpectAsTheKernelSays(AF_BLUETOOTH, SOCK_SEQPACKET, BTPROTO_L2CAP);
  ExpectAsTheKernelSays(AF_BLUETOOTH, SOCK_STREAM, BTPROTO_L2CAP);
  ExpectAsTheKernelSays(AF_BLUETOOTH, SOCK_RAW, BTPROTO_RFCOMM);
}

TEST_F(PassThroughTest, IsOffWithoutAnAddress) {
  unsetenv("VIRTUAL_RADIO_ADDRESS");
  ExpectAsTheKernelSays(AF_BLUETOOTH, SOCK_STREAM, BTPROTO_RFCOMM);
}

TEST_F(PassThroughTest, KeepsNamesAndEndOfFileOfNetworkSockets) {
  const Descriptor listener(socket(AF_INET, SOCK_STREAM, 0));
  sockaddr_in name = {};
  name.sin_family = AF_INET;
  name.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  sockaddr* const generic = reinterpret_cast<sockaddr*>(&name);
  socklen_t length = sizeof name;
  ASSERT_EQ(bind(listener.get(), generic, length), 0);
  ASSERT_EQ(listen(listener.get(), 1), 0);
  ASSERT_EQ(getsockname(listener.get(), generic, &length), 0);
  Descriptor caller(socket(AF_INET, SOCK_STREAM, 0));
  ASSERT_EQ(connect(caller.get(), generic, length), 0);
  const Descriptor called(accept(listener.get(), generic, &length));
  EXPECT_EQ(name.sin_family, AF_INET);
  EXPECT_EQ(length, sizeof name);
  caller.close();
  EXPECT_EQ(Receive(called), "");
}

TEST_F(PassThroughTest, KeepsEndOfFileOfFilesAndPipes) {
  const Descriptor file(open("/dev/null", O_RDONLY | O_CLOEXEC));
  char byte = 0;
  EXPECT_EQ(read(file.get(), &byte, 1), 0);
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  close(ends[1]);
  const Descriptor pipe(ends[0]);
  EXPECT_EQ(read(pipe.get(), &byte, 1), 0);
}

TEST_F(PassThroughTest, KeepsErrorsOfBadDescriptors) {
  char byte = 0;
  errno = 0;
  EXPECT_EQ(read(-1, &byte, 1), -1);
  EXPECT_EQ(errno, EBADF);
  EXPECT_EQ(write(1 << 20, &byte, 1), -1);
  EXPECT_EQ(errno, EBADF);
  EXPECT_EQ(close(-1), -1);
  EXPECT_EQ(errno, EBADF);
  EXPECT_EQ(dup2(-1, 900), -1);
  EXPECT_EQ(errno, EBADF);
}

TEST_F(PassThroughTest, KeepsDescriptorFlagsAndLocks) {
  const Descriptor file(open((folder() / "file").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  EXPECT_EQ(fcntl(file.get(), F_GETFD), FD_CLOEXEC);
  struct flock lock = {};
  lock.l_type = F_WRLCK;
  EXPECT_EQ(fcntl(file.get(), F_SETLK, &lock), 0);
  const Descriptor copy(fcntl(file.get(), F_DUPFD, 500));
  EXPECT_GE(copy.get(), 500);
}

TEST_F(PassThroughTest, KeepsSigpipeOfOrdinaryStreams) {
  int ends[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
  const Descriptor writer(ends[0]);
  close(ends[1]);
  const auto byWrite = [&] { EXPECT_EQ(write(writer.get(), "x", 1), -1); };
  EXPECT_EQ(Process::fork(kPhone, byWrite).Wait(), 128 + SIGPIPE);
  const auto bySend = [&] { EXPECT_EQ(send(writer.get(), "x", 1, 0), -1); };
  EXPECT_EQ(Process::fork(kPhone, bySend).Wait(), 128 + SIGPIPE);
}

}  // namespace
}  // namespace radiotest
