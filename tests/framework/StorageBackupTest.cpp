// What happens to a file whose name is stored anew.

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <string>

#include "StorageFixture.h"
#include "StorageRoot.h"
#include "StorageTemporary.h"
#include "StorageUsage.h"

namespace {

using framework_detail::StorageBackup;
using framework_detail::StorageDescriptor;
using framework_detail::StorageError;
using framework_detail::StorageUsage;

class StorageBackupTest : public StorageTest {
 protected:
  ino_t Inode(const std::string& name) const {
    struct stat file {};
    EXPECT_EQ(::stat(At(name).c_str(), &file), 0) << name;
    return file.st_ino;
  }
  /// Makes the backup and does not go on to replace the file.
  void MakeAndGiveUp(const std::string& name) const {
    const StorageDescriptor root(::open(m_root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    StorageUsage usage;
    StorageBackup backup(root.get(), root.get(), name, usage);
    backup.make();
    EXPECT_EQ(Read(name + "~"), "old");
  }
  /// As on a disk that knows no second names for a file.
  static void RefuseLinks() { RefuseSystemCalls({SYS_linkat}, EPERM); }
};

TEST_F(StorageBackupTest, TheFileThatWasThereIsKept) {
  ExpectStored("photo.jpg", "old");
  ExpectStored("photo.jpg", "new");
  EXPECT_EQ(Images(), (Tree{{"photo.jpg", "file:new"}, {"photo.jpg~", "file:old"}}));
}

TEST_F(StorageBackupTest, ANewerBackupReplacesTheOlder) {
  for (const char* bytes : {"1", "2", "3", "4"}) ExpectStored("a/photo.jpg", bytes);
  EXPECT_EQ(Read("a/photo.jpg"), "4");
  EXPECT_EQ(Read("a/photo.jpg~"), "3");
  EXPECT_EQ(Images().size(), 3U);
}

TEST_F(StorageBackupTest, TheSameBytesAgainAreASuccessAndChangeNothing) {
  ExpectStored("photo.jpg", "same");
  const ino_t before = Inode("photo.jpg");
  ExpectStored("photo.jpg", "same");
  EXPECT_EQ(Inode("photo.jpg"), before);
  EXPECT_EQ(Images(), (Tree{{"photo.jpg", "file:same"}}));
}

TEST_F(StorageBackupTest, TheSameBytesAgainKeepTheBackupOfOthers) {
  for (const char* bytes : {"old", "new", "new"}) ExpectStored("photo.jpg", bytes);
  EXPECT_EQ(Read("photo.jpg~"), "old");
}

TEST_F(StorageBackupTest, BytesThatDifferInTheLastOnlyAreOthers) {
  const std::string bytes(200000, 'x');
  ExpectStored("photo.jpg", bytes + "1");
  ExpectStored("photo.jpg", bytes + "2");
  EXPECT_EQ(Read("photo.jpg~"), bytes + "1");
}

TEST_F(StorageBackupTest, ABeginningOfTheSameBytesIsAnotherFile) {
  ExpectStored("photo.jpg", "picture");
  ExpectStored("photo.jpg", "pic");
  ExpectStored("photo.jpg", "");
  ExpectStored("photo.jpg", "picture");
  EXPECT_EQ(Read("photo.jpg~"), "");
}

TEST_F(StorageBackupTest, TheSameBytesAreASuccessEvenBeyondTheLimits) {
  Put("photo.jpg", "same");
  Put("other.jpg", "other");
  m_limits.files = 1;
  m_limits.bytes = 1;
  ExpectStored("photo.jpg", "same");
  ExpectRefused("photo.jpg", "else");
}

TEST_F(StorageBackupTest, ANameOf255BytesIsNotReplacedByOtherBytes) {
  const std::string name(255, 'n');
  ExpectStored(name, "old");
  ExpectRefused(name, "new");
  ExpectStored(name, "old");
}

TEST_F(StorageBackupTest, ANameOf254BytesIsReplaced) {
  const std::string name(254, 'n');
  ExpectStored(name, "old");
  ExpectStored(name, "new");
  EXPECT_EQ(Read(name + "~"), "old");
}

TEST_F(StorageBackupTest, AFolderInTheBackupsPlaceRefusesTheWriteAndKeepsTheOldFile) {
  Put("photo.jpg", "old");
  MakeFolder("photo.jpg~");
  ExpectRefused("photo.jpg");
}

TEST_F(StorageBackupTest, ABackupMayBeStoredLikeAnyFile) {
  ExpectStored("photo.jpg", "1");
  ExpectStored("photo.jpg", "2");
  ExpectStored("photo.jpg~", "3");
  EXPECT_EQ(Read("photo.jpg~~"), "1");
}

TEST_F(StorageBackupTest, AWriteGoesOnAfterACrashBetweenTheBackupAndTheReplacing) {
  Put("photo.jpg", "old");
  ASSERT_EQ(::link(At("photo.jpg").c_str(), At("photo.jpg~").c_str()), 0);
  ExpectStored("photo.jpg", "new");
  EXPECT_EQ(Images(), (Tree{{"photo.jpg", "file:new"}, {"photo.jpg~", "file:old"}}));
}

TEST_F(StorageBackupTest, ABackupWhoseFileIsNotReplacedIsTakenBack) {
  Put("photo.jpg", "old");
  const Tree before = Images();
  MakeAndGiveUp("photo.jpg");
  EXPECT_EQ(Images(), before);
}

TEST_F(StorageBackupTest, AnOlderBackupComesBackWhenTheFileIsNotReplaced) {
  Put("photo.jpg", "old");
  Put("photo.jpg~", "older");
  const Tree before = Images();
  MakeAndGiveUp("photo.jpg");
  EXPECT_EQ(Images(), before);
}

TEST_F(StorageBackupTest, ABackupThatIsTheFileItselfComesBackWhenTheFileIsNotReplaced) {
  Put("photo.jpg", "old");
  ASSERT_EQ(::link(At("photo.jpg").c_str(), At("photo.jpg~").c_str()), 0);
  const Tree before = Images();
  MakeAndGiveUp("photo.jpg");
  EXPECT_EQ(Images(), before);
}

TEST_F(StorageBackupTest, WithoutLinksTheFileThatWasThereIsKeptToo) {
  InChild([&] {
    RefuseLinks();
    for (const char* bytes : {"1", "2", "3"}) ExpectStored("photo.jpg", bytes);
    EXPECT_EQ(Images(), (Tree{{"photo.jpg", "file:3"}, {"photo.jpg~", "file:2"}}));
  });
}

TEST_F(StorageBackupTest, WithoutLinksEverythingComesBackWhenTheFileIsNotReplaced) {
  Put("photo.jpg", "old");
  Put("single.jpg", "old");
  Put("photo.jpg~", "older");
  const Tree before = Images();
  InChild([&] {
    RefuseLinks();
    MakeAndGiveUp("photo.jpg");
    MakeAndGiveUp("single.jpg");
  });
  EXPECT_EQ(Images(), before);
}

TEST_F(StorageBackupTest, WithoutLinksAFolderInTheBackupsPlaceRefusesTheWrite) {
  Put("photo.jpg", "old");
  MakeFolder("photo.jpg~");
  InChild([&] {
    RefuseLinks();
    ExpectRefused("photo.jpg");
  });
}

TEST_F(StorageBackupTest, AnotherErrorOfALinkRefusesTheWrite) {
  Put("photo.jpg", "old");
  InChild([&] {
    RefuseSystemCalls({SYS_linkat}, EIO);
    ExpectRefused("photo.jpg");
  });
}

TEST_F(StorageBackupTest, AFileThatCantBeMovedToItsPlaceLeavesEverythingAsItWas) {
  Put("a/photo.jpg", "old");
  Put("a/photo.jpg~", "older");
  InChild([&] {
    RefuseSystemCalls({SYS_renameat, SYS_renameat2}, EIO);
    ExpectRefused("a/photo.jpg");
    ExpectRefused("a/new.jpg");
  });
}

TEST_F(StorageBackupTest, AFileOfAnotherUserIsKeptToo) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can make files of two users";
  MakeFolder("theirs");
  Put("theirs/photo.jpg", "old");
  ASSERT_EQ(::chown(At("theirs").c_str(), 65534, 65534), 0);
  // Where the kernel protects hard links, "nobody" can't make one to root's file.
  AsOrdinaryUser([&] { ExpectStored("theirs/photo.jpg", "new"); });
  EXPECT_EQ(Read("theirs/photo.jpg~"), "old");
}

}  // namespace
