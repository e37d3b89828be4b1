#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "tests/radio/Process.h"
#include "tests/radio/RadioTest.h"

namespace radiotest {
namespace {

class FolderTest : public RadioTest {
 protected:
  // Expects socket() to fail. In a child, because each process warns only once.
  void ExpectNoSocket(int error, const std::string& warning) {
    const auto output = folder() / "warning";
    Process::fork(kPhone, [&] {
      dup2(open(output.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600), STDERR_FILENO);
      for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(socket(AF_BLUETOOTH, SOCK_STREAM, BTPROTO_RFCOMM), -1);
        EXPECT_EQ(errno, error);
      }
    }).ExpectSuccess();
    EXPECT_EQ(contentOf(output), "virtual radio: " + warning + "\n");
  }

  // Unsets the folder; returns the default one.
  std::filesystem::path UseRuntimeFolder() {
    unsetenv("VIRTUAL_RADIO_DIR");
    setenv("XDG_RUNTIME_DIR", folder().c_str(), 1);
    return folder() / "virtual-radio";
  }
};

TEST_F(FolderTest, WorksWithALongPath) {
  auto air = folder();
  for (int i = 0; i < 5; ++i) air /= std::string(50, 'x');
  std::filesystem::create_directories(air);
  SetAir(air);
  Link link = MakeLink();
  EXPECT_EQ(PeerOf(link.called), "66:77:88:99:AA:BB#4");
  EXPECT_EQ(NameOf(link.called), "00:11:22:33:44:55#4");
  Descriptor listener = Listener(5);
  EXPECT_TRUE(std::filesystem::exists(channelFile("001122334455-05")));
  EXPECT_EQ(Bind(Socket(), kPhone, 5), EADDRINUSE);
  listener.close();
  EXPECT_FALSE(std::filesystem::exists(channelFile("001122334455-05")));
}

TEST_F(FolderTest, WorksWithPathsOfEveryLengthAroundTheLimit) {
  const size_t shortest = folder().string().size() + 1;
  for (size_t length = 80; length < 115; ++length) {
    SetAir(folder() / std::string(length - shortest, 'x'));
    EXPECT_EQ(PeerOf(MakeLink().called), "66:77:88:99:AA:BB#4") << length;
  }
}

TEST_F(FolderTest, CreatesAMissingFolderForTheOwnerOnly) {
  SetAir(folder() / "air");
  const Descriptor listener = Listener(4);
  EXPECT_EQ(std::filesystem::status(folder() / "air").permissions(),
            std::filesystem::perms::owner_all);
}

TEST_F(FolderTest, WarnsOnceWhenItCannotCreateTheFolder) {
  SetAir(folder() / "no" / "air");
  ExpectNoSocket(ENOENT, "the folder \"" + (folder() / "no" / "air").string() +
                             "\": No such file or directory");
}

TEST_F(FolderTest, WarnsOfAnInvalidAddress) {
  setenv("VIRTUAL_RADIO_ADDRESS", "00:11", 1);
  const auto output = folder() / "warning";
  Process::fork("00:11", [&] {
    dup2(open(output.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600), STDERR_FILENO);
    EXPECT_EQ(socket(AF_BLUETOOTH, SOCK_STREAM, BTPROTO_RFCOMM), -1);
    EXPECT_EQ(errno, EAFNOSUPPORT);
  }).ExpectSuccess();
  EXPECT_EQ(contentOf(output),
            "virtual radio: VIRTUAL_RADIO_ADDRESS \"00:11\": not a Bluetooth address\n");
}

TEST_F(FolderTest, SeparatesDevicesInDifferentFolders) {
  SetAir(folder() / "here");
  const Descriptor listener = Listener(4);
  SetAir(folder() / "there");
  EXPECT_EQ(Connect(Socket(), kPhone, 4), ECONNREFUSED);
  Become(kPeer);
  SetAir(folder() / "elsewhere");
  EXPECT_EQ(Connect(Socket(), kPhone, 4), EHOSTDOWN);
}

TEST_F(FolderTest, UsesTheRuntimeFolderByDefault) {
  const auto air = UseRuntimeFolder();
  const Descriptor listener = Listener(4);
  EXPECT_TRUE(std::filesystem::exists(air / "001122334455-04"));
}

TEST_F(FolderTest, RejectsADefaultFolderThatOthersCanWriteTo) {
  const auto air = UseRuntimeFolder();
  std::filesystem::create_directory(air);
  ASSERT_EQ(chmod(air.c_str(), 0777), 0);
  ExpectNoSocket(EPERM, "the folder \"" + air.string() + "\": Operation not permitted");
}

TEST_F(FolderTest, RejectsADefaultFolderOfAnotherUser) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can make a folder of somebody else";
  const auto air = UseRuntimeFolder();
  std::filesystem::create_directory(air);
  ASSERT_EQ(chown(air.c_str(), 65534, 65534), 0);
  ExpectNoSocket(EPERM, "the folder \"" + air.string() + "\": Operation not permitted");
}

}  // namespace
}  // namespace radiotest
