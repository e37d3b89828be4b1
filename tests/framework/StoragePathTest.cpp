// Which paths are refused: by their text, and by what is there (symbolic links, pipes ...).

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <unistd.h>

#include <string>

#include "StorageFixture.h"

namespace {

using StoragePathTest = StorageTest;

TEST_F(StoragePathTest, HasTheImagesFolderAsDefaultRoot) {
  EXPECT_STREQ(Storage::defaultRoot(), "/data/images");
}

TEST_F(StoragePathTest, StoresAFileInTheRoot) { ExpectStored("photoDoeJohn.jpg", "picture"); }

TEST_F(StoragePathTest, RefusesARelativePath) {
  ExpectRefusedAt("photo.jpg");
  ExpectRefusedAt("images/photo.jpg");
  ExpectRefusedAt("");
}

TEST_F(StoragePathTest, RefusesAPathOutsideTheRoot) {
  ExpectRefusedAt(m_folder + "/outside/secret");
  ExpectRefusedAt(m_folder + "/outside/new");
  ExpectRefusedAt("/etc/passwd");
}

TEST_F(StoragePathTest, RefusesAPathThatOnlyStartsLikeTheRoot) {
  ExpectRefusedAt(m_root + "2/photo.jpg");
  ExpectRefusedAt(m_root + ".jpg");
}

TEST_F(StoragePathTest, RefusesTheRootItself) {
  ExpectRefusedAt(m_root);
  ExpectRefusedAt(m_root + "/");
  ExpectRefusedAt(m_root + "//");
  ExpectRefusedAt(m_root + "/.");
}

TEST_F(StoragePathTest, RefusesToClimbOutOfTheRoot) {
  ExpectRefused("../outside/secret");
  ExpectRefused("photo/../../outside/secret");
  ExpectRefused("../../../../../../etc/passwd");
}

TEST_F(StoragePathTest, RefusesToClimbWithinTheRoot) {
  MakeFolder("a");
  ExpectRefused("a/../photo.jpg");
  ExpectRefused("a/..");
  ExpectRefused("..");
}

TEST_F(StoragePathTest, CreatesNoFolderForAPathThatClimbs) {
  ExpectRefused("photoEvil/../../../outside/secret");
}

TEST_F(StoragePathTest, AcceptsDotsWithinAName) {
  ExpectStored("photo..jpg", "1");
  ExpectStored("...", "2");
  ExpectStored("..photo", "3");
}

TEST_F(StoragePathTest, RefusesAPathThatEndsWithASlash) {
  MakeFolder("a");
  ExpectRefused("a/");
  ExpectRefused("new/");
  ExpectRefused("new/.");
}

TEST_F(StoragePathTest, LeavesOutEmptyAndDotComponents) {
  EXPECT_TRUE(Store("photo//./A/photo.jpg", "picture"));
  EXPECT_EQ(Read("photo/A/photo.jpg"), "picture");
}

TEST_F(StoragePathTest, AcceptsARootWithTrailingSlashes) {
  Storage storage(m_root + "//", m_limits);
  char data[] = "picture";
  ASSERT_TRUE(storage.init(At("photo.jpg").c_str(), std::ios::in, std::ios::out));
  EXPECT_TRUE(storage.store(nullptr, data, 7));
  EXPECT_EQ(Read("photo.jpg"), "picture");
}

TEST_F(StoragePathTest, RefusesAMissingRootAndDoesNotCreateIt) {
  m_root = m_folder + "/missing";
  EXPECT_FALSE(
      Storage(m_root, m_limits).init(At("photo.jpg").c_str(), std::ios::in, std::ios::out));
  ExpectRefused("photo.jpg");
}

TEST_F(StoragePathTest, RefusesAFileAsTheRoot) {
  m_root = m_folder + "/outside/secret";
  EXPECT_FALSE(Store("photo.jpg", "new"));
}

TEST_F(StoragePathTest, RefusesANullPath) {
  Storage storage(m_root, m_limits);
  EXPECT_FALSE(storage.init(nullptr, std::ios::in, std::ios::out));
}

TEST_F(StoragePathTest, AcceptsAllBytesButSlashAndNulInAName) {
  std::string name;
  for (int byte = 1; byte < 256; ++byte) {
    if (byte != '/') name += static_cast<char>(byte);
  }
  ExpectStored(name, "picture");
}

TEST_F(StoragePathTest, AcceptsNamesOf255Bytes) {
  ExpectStored(std::string(255, 'n'), "picture");
  ExpectStored(std::string(255, 'd') + "/" + std::string(255, 'n'), "picture");
}

TEST_F(StoragePathTest, RefusesNamesOf256Bytes) {
  ExpectRefused(std::string(256, 'n'));
  ExpectRefused(std::string(256, 'd') + "/photo.jpg");
  ExpectRefused("new/" + std::string(256, 'n'));
}

TEST_F(StoragePathTest, RefusesPathsBeyondPATH_MAX) {
  m_limits.depth = 10000;
  std::string name;
  for (int i = 0; i < 30; ++i) name += std::string(200, 'd') + "/";
  ExpectRefused(name + "photo.jpg");
}

TEST_F(StoragePathTest, RefusesNamesOfTemporaryFiles) {
  ExpectRefused(".storage-0123456789abcdef");
  ExpectRefused(".storage-mine");
  ExpectRefused(".storage-mine/photo.jpg");
  ExpectRefused("a/.storage-mine");
}

class StorageLinkTest : public StorageTest {
 protected:
  std::string Outside(const std::string& name = "") const { return m_folder + "/outside" + name; }
};

TEST_F(StorageLinkTest, RefusesALinkAsAFolder) {
  Link("photo", Outside());
  ExpectRefused("photo/secret");
  ExpectRefused("photo/new.jpg");
  ExpectRefused("photo/new/photo.jpg");
}

TEST_F(StorageLinkTest, RefusesALinkDeepInThePath) {
  Link("a/b/c", Outside());
  ExpectRefused("a/b/c/secret");
  ExpectRefused("a/b/c/d/e/new.jpg");
}

TEST_F(StorageLinkTest, RefusesALinkWithinTheRoot) {
  Put("real/photo.jpg", "old");
  Link("alias", "real");
  ExpectRefused("alias/photo.jpg");
  ExpectRefused("alias/new.jpg");
}

TEST_F(StorageLinkTest, RefusesALinkToTheRoot) {
  Link("again", ".");
  ExpectRefused("again/photo.jpg");
  ExpectRefused("again");
}

TEST_F(StorageLinkTest, RefusesALinkAsTheFile) {
  Link("photo.jpg", Outside("/secret"));
  Link("a/photo.jpg", "../../outside/secret");
  ExpectRefused("photo.jpg");
  ExpectRefused("a/photo.jpg");
}

TEST_F(StorageLinkTest, RefusesALinkToTheSameContents) {
  Link("photo.jpg", Outside("/secret"));
  ExpectRefused("photo.jpg", "secret");
}

TEST_F(StorageLinkTest, RefusesADanglingLink) {
  Link("photo.jpg", Outside("/new"));
  Link("folder", Outside("/newfolder"));
  ExpectRefused("photo.jpg");
  ExpectRefused("folder/photo.jpg");
}

TEST_F(StorageLinkTest, RefusesALinkAsTheBackup) {
  Put("photo.jpg", "old");
  Link("photo.jpg~", Outside("/secret"));
  ExpectRefused("photo.jpg");
}

TEST_F(StorageLinkTest, RefusesADanglingLinkAsTheBackup) {
  Put("photo.jpg", "old");
  Link("photo.jpg~", Outside("/new"));
  ExpectRefused("photo.jpg");
}

TEST_F(StorageLinkTest, IgnoresALinkAsTheBackupOfANewFile) {
  Link("photo.jpg~", Outside("/secret"));
  ExpectStored("photo.jpg", "new");
}

TEST_F(StorageLinkTest, ReplacesAHardLinkInsteadOfWritingThroughIt) {
  ASSERT_EQ(::link(Outside("/secret").c_str(), At("photo.jpg").c_str()), 0);
  ExpectStored("photo.jpg", "new");
  EXPECT_EQ(Everything().at("outside/secret"), "file:secret");
}

TEST_F(StorageLinkTest, RefusesAFolderAsTheFile) {
  MakeFolder("photo.jpg");
  Put("full/photo", "old");
  ExpectRefused("photo.jpg");
  ExpectRefused("full");
}

TEST_F(StorageLinkTest, RefusesAPipeWithoutBlocking) {
  ASSERT_EQ(::mkfifo(At("photo.jpg").c_str(), 0666), 0);
  ASSERT_EQ(::mkfifo(At("folder").c_str(), 0666), 0);
  ExpectRefused("photo.jpg");
  ExpectRefused("folder/photo.jpg");
}

TEST_F(StorageLinkTest, RefusesASocketAsTheFile) {
  const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  At("photo.jpg").copy(address.sun_path, sizeof address.sun_path - 1);
  const auto* name = static_cast<const void*>(&address);
  ASSERT_EQ(::bind(socket, static_cast<const sockaddr*>(name), sizeof address), 0);
  ExpectRefused("photo.jpg");
  ::close(socket);
}

TEST_F(StorageLinkTest, RefusesADeviceAsTheFile) {
  if (::mknod(At("photo.jpg").c_str(), S_IFCHR | 0666, makedev(1, 3)) != 0) {
    ASSERT_NE(::geteuid(), 0U);
    GTEST_SKIP() << "only root can make a device";
  }
  ExpectRefused("photo.jpg");
}

TEST_F(StorageLinkTest, DoesNotFollowLinksWhenCounting) {
  for (int i = 0; i < 20; ++i) Put("../many/" + std::to_string(i), "1234567890");
  Link("many", m_folder + "/many");
  m_limits.files = 2;
  m_limits.bytes = 10;
  ExpectStored("photo.jpg", "picture");
}

}  // namespace
