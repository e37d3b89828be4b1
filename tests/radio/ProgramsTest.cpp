#include <sys/socket.h>

#include <csignal>
#include <fstream>

#include "tests/radio/Process.h"
#include "tests/radio/RadioTest.h"
#include "tests/support/WaitFor.h"

namespace radiotest {
namespace {

constexpr char kCard[] = "BEGIN:VCARD\r\nVERSION:2.1\r\nN:Doe;John\r\nEND:VCARD\r\n";

// Unmodified OBEX programs at both ends.
class ProgramsTest : public RadioTest {
 protected:
  void SetUp() override {
    for (const char* program : {"obexput", "obexget", "obexrm", "obex_test"}) {
      if (!isInstalled(program)) GTEST_SKIP() << program << " is not installed";
    }
    std::filesystem::create_directory(received());
    std::ofstream(folder() / "card.vcf", std::ios::binary) << kCard;
  }

  std::filesystem::path received() const { return folder() / "received"; }
  std::filesystem::path log(const char* name) const { return folder() / name; }

  Process Start(const char* address, std::vector<std::string> words, const char* logName,
                const std::filesystem::path& where, int input = -1) {
    words.insert(words.begin(), {RADIO_LAUNCHER, "--address", address, "--dir", folder(), "--"});
    Process::Settings settings;
    settings.workingFolder = where;
    settings.output = log(logName);
    settings.input = input;
    return Process::run(words, settings);
  }

  // Looks into /proc, because a test call would use up obex_test's only link.
  bool IsListening(const std::string& file) const {
    std::ifstream sockets("/proc/net/unix");
    for (std::string line; std::getline(sockets, line);) {
      const bool accepts = line.find(" 00010000 ") != std::string::npos;
      if (accepts && line.ends_with(channelFile(file).string())) return true;
    }
    return false;
  }

  // Starts obex_test, which receives one link on channel 4.
  Process StartReceiver() {
    int ends[2];
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    m_keyboard = Descriptor(ends[1]);
    const Descriptor input(ends[0]);
    Process receiver = Start(kPhone, {"obex_test", "-b", "4"}, "receiver", received(), ends[0]);
    Send(m_keyboard, "s\n");
    EXPECT_TRUE(test::waitFor([&] { return IsListening("001122334455-04"); }));
    return receiver;
  }

  int Put(const std::vector<std::string>& options) {
    std::vector<std::string> words = {"obexput", "-b", kPhone, "-B", "4"};
    words.insert(words.end(), options.begin(), options.end());
    return Start(kPeer, words, "sender", folder()).Wait();
  }

 private:
  Descriptor m_keyboard;
};

TEST_F(ProgramsTest, PushesACard) {
  const Process receiver = StartReceiver();
  EXPECT_EQ(Put({"-U", "none", "-H", "-S", "-p", "card.vcf"}), 255) << contentOf(log("sender"));
  EXPECT_TRUE(test::waitFor([&] { return contentOf(received() / "card.vcf") == kCard; }))
      << contentOf(log("receiver"));
}

TEST_F(ProgramsTest, PushesAHundredThousandBytesUnchanged) {
  std::string large;
  for (int i = 0; large.size() < 100000; ++i) large += std::to_string(i) + "\n";
  std::ofstream(folder() / "large", std::ios::binary) << large;
  const Process receiver = StartReceiver();
  EXPECT_EQ(Put({"-U", "none", "-H", "-S", "-p", "large"}), 255) << contentOf(log("sender"));
  EXPECT_TRUE(test::waitFor([&] { return contentOf(received() / "large") == large; }));
}

TEST_F(ProgramsTest, PushesSeveralCardsOverOneLink) {
  std::ofstream(folder() / "other.vcf", std::ios::binary) << "other";
  const Process receiver = StartReceiver();
  EXPECT_EQ(Put({"-U", "none", "-H", "-S", "-p", "card.vcf", "other.vcf"}), 255);
  EXPECT_TRUE(test::waitFor([&] { return contentOf(received() / "other.vcf") == "other"; }));
}

TEST_F(ProgramsTest, FailsToPushWhenNobodyListens) {
  EXPECT_NE(Put({"-U", "none", "-H", "-S", "-p", "card.vcf"}), 255);
  EXPECT_NE(contentOf(log("sender")).find("failed"), std::string::npos) << contentOf(log("sender"));
}

TEST_F(ProgramsTest, ConnectsOtherObexPrograms) {
  for (const char* program : {"obexget", "obexrm"}) {
    const Process receiver = StartReceiver();
    Start(kPeer, {program, "-b", kPhone, "-B", "4", "card.vcf"}, program, folder()).Wait();
    EXPECT_TRUE(test::waitFor([&] {
      return contentOf(log("receiver")).find("connect_server()") != std::string::npos;
    })) << contentOf(log(program));
    std::filesystem::remove(log("receiver"));
  }
}

TEST_F(ProgramsTest, FailsToPushWhenTheReceiverDies) {
  Descriptor listener = Listener(4);
  Process receiver = Process::fork(kPhone, [&] {
    const Descriptor link = Accept(listener);
    listener.close();
    WaitReadable(link);
    raise(SIGKILL);
  });
  listener.close();
  EXPECT_NE(Put({"-U", "none", "-H", "-S", "-p", "card.vcf"}), 255);
  EXPECT_EQ(receiver.Wait(), 128 + SIGKILL);
}

TEST_F(ProgramsTest, GivesPythonTheAddressesAndErrorsOfARealRadio) {
  const char* script = R"(
import socket, sys
if not hasattr(socket, 'AF_BLUETOOTH'): sys.exit(77)
def make(): return socket.socket(socket.AF_BLUETOOTH, socket.SOCK_STREAM, socket.BTPROTO_RFCOMM)
listener = make()
listener.bind(('00:11:22:33:44:55', 4))
listener.listen(1)
caller = make()
caller.settimeout(60)
caller.connect(('00:11:22:33:44:55', 4))
link, address = listener.accept()
print(address, link.getpeername(), caller.getsockname())
caller.sendall(b'card')
caller.close()
print(link.recv(100))
try: link.recv(100)
except ConnectionResetError: print('reset')
)";
  Process python = Start(kPhone, {"/usr/bin/python3", "-c", script}, "python", folder());
  const int code = python.Wait();
  if (code == 77 || code == 127) GTEST_SKIP() << "no Python that knows Bluetooth";
  EXPECT_EQ(contentOf(log("python")),
            "('00:11:22:33:44:55', 4) ('00:11:22:33:44:55', 4) ('00:11:22:33:44:55', 4)\n"
            "b'card'\nreset\n");
}

}  // namespace
}  // namespace radiotest
