// Symbolic links and other things that someone planted beneath the root: nothing is written through
// them.

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <unistd.h>

#include <string>

#include "StorageFixture.h"

namespace {

class StorageLinkTest : public StorageTest {
 protected:
  std::string Outside(const std::string& name = "") const { return m_folder + "/outside" + name; }
};

TEST_F(StorageLinkTest, ALinkInsteadOfAFolderIsRefused) {
  Link("photo", Outside());
  ExpectRefused("photo/secret");
  ExpectRefused("photo/new.jpg");
  ExpectRefused("photo/new/photo.jpg");
}

TEST_F(StorageLinkTest, ALinkDeepInThePathIsRefused) {
  Link("a/b/c", Outside());
  ExpectRefused("a/b/c/secret");
  ExpectRefused("a/b/c/d/e/new.jpg");
}

TEST_F(StorageLinkTest, ALinkThatStaysWithinTheRootIsRefusedToo) {
  Put("real/photo.jpg", "old");
  Link("alias", "real");
  ExpectRefused("alias/photo.jpg");
  ExpectRefused("alias/new.jpg");
}

TEST_F(StorageLinkTest, ALinkToTheRootItselfIsRefused) {
  Link("again", ".");
  ExpectRefused("again/photo.jpg");
  ExpectRefused("again");
}

TEST_F(StorageLinkTest, AFinalNameThatIsALinkIsRefused) {
  Link("photo.jpg", Outside("/secret"));
  Link("a/photo.jpg", "../../outside/secret");
  ExpectRefused("photo.jpg");
  ExpectRefused("a/photo.jpg");
}

TEST_F(StorageLinkTest, AFinalNameThatIsALinkToTheSameBytesIsRefused) {
  Link("photo.jpg", Outside("/secret"));
  ExpectRefused("photo.jpg", "secret");
}

TEST_F(StorageLinkTest, ADanglingLinkIsRefused) {
  Link("photo.jpg", Outside("/new"));
  Link("folder", Outside("/newfolder"));
  ExpectRefused("photo.jpg");
  ExpectRefused("folder/photo.jpg");
}

TEST_F(StorageLinkTest, ALinkInTheBackupsPlaceRefusesTheWriteAndKeepsTheOldFile) {
  Put("photo.jpg", "old");
  Link("photo.jpg~", Outside("/secret"));
  ExpectRefused("photo.jpg");
}

TEST_F(StorageLinkTest, ADanglingLinkInTheBackupsPlaceRefusesTheWrite) {
  Put("photo.jpg", "old");
  Link("photo.jpg~", Outside("/new"));
  ExpectRefused("photo.jpg");
}

TEST_F(StorageLinkTest, ALinkInTheBackupsPlaceIsNoMatterForANewFile) {
  Link("photo.jpg~", Outside("/secret"));
  ExpectStored("photo.jpg", "new");
}

TEST_F(StorageLinkTest, ASecondNameOfAFileOutsideIsReplacedAndNotWrittenTo) {
  ASSERT_EQ(::link(Outside("/secret").c_str(), At("photo.jpg").c_str()), 0);
  ExpectStored("photo.jpg", "new");
  EXPECT_EQ(Everything().at("outside/secret"), "file:secret");
}

TEST_F(StorageLinkTest, AFinalNameThatIsAFolderIsRefused) {
  MakeFolder("photo.jpg");
  Put("full/photo", "old");
  ExpectRefused("photo.jpg");
  ExpectRefused("full");
}

TEST_F(StorageLinkTest, AFinalNameThatIsAPipeIsRefusedWithoutWaitingForAReader) {
  ASSERT_EQ(::mkfifo(At("photo.jpg").c_str(), 0666), 0);
  ASSERT_EQ(::mkfifo(At("folder").c_str(), 0666), 0);
  ExpectRefused("photo.jpg");
  ExpectRefused("folder/photo.jpg");
}

TEST_F(StorageLinkTest, AFinalNameThatIsASocketIsRefused) {
  const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  At("photo.jpg").copy(address.sun_path, sizeof address.sun_path - 1);
  const auto* name = static_cast<const void*>(&address);
  ASSERT_EQ(::bind(socket, static_cast<const sockaddr*>(name), sizeof address), 0);
  ExpectRefused("photo.jpg");
  ::close(socket);
}

TEST_F(StorageLinkTest, AFinalNameThatIsADeviceIsRefused) {
  if (::mknod(At("photo.jpg").c_str(), S_IFCHR | 0666, makedev(1, 3)) != 0) {
    ASSERT_NE(::geteuid(), 0U);
    GTEST_SKIP() << "only root can make a device";
  }
  ExpectRefused("photo.jpg");
}

TEST_F(StorageLinkTest, PlantedLinksAreNotFollowedWhenTheRootIsCounted) {
  for (int i = 0; i < 20; ++i) Put("../many/" + std::to_string(i), "1234567890");
  Link("many", m_folder + "/many");
  m_limits.files = 2;
  m_limits.bytes = 10;
  ExpectStored("photo.jpg", "picture");
}

}  // namespace
