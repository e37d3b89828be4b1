// Temporary files, backups, and what a killed process leaves behind.

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>

#include "StorageFixture.h"
#include "StorageRoot.h"
#include "StorageTemporary.h"
#include "StorageUsage.h"

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using framework_detail::StorageBackup;
using framework_detail::StorageDescriptor;
using framework_detail::StorageTemporary;
using framework_detail::StorageUsage;

class StorageBackupTest : public StorageTest {
 protected:
  ino_t Inode(const std::string& name) const {
    struct stat file {};
    EXPECT_EQ(::stat(At(name).c_str(), &file), 0) << name;
    return file.st_ino;
  }
  // Makes the backup without replacing the file.
  void MakeAndGiveUp(const std::string& name) const {
    const StorageDescriptor root = OpenRoot();
    StorageUsage usage;
    StorageBackup backup(root.get(), root.get(), name, usage);
    backup.make();
    EXPECT_EQ(Read(name + "~"), "old");
  }
  // As on a file system without hard links.
  static void RefuseLinks() { RefuseSystemCalls({SYS_linkat}, EPERM); }
};

TEST_F(StorageBackupTest, KeepsTheExistingFile) {
  ExpectStored("photo.jpg", "old");
  ExpectStored("photo.jpg", "new");
  EXPECT_EQ(Images(), (Tree{{"photo.jpg", "file:new"}, {"photo.jpg~", "file:old"}}));
}

TEST_F(StorageBackupTest, ReplacesAnOlderBackup) {
  for (const char* bytes : {"1", "2", "3", "4"}) ExpectStored("a/photo.jpg", bytes);
  EXPECT_EQ(Read("a/photo.jpg"), "4");
  EXPECT_EQ(Read("a/photo.jpg~"), "3");
  EXPECT_EQ(Images().size(), 3U);
}

TEST_F(StorageBackupTest, ChangesNothingWhenTheContentsAreTheSame) {
  ExpectStored("photo.jpg", "same");
  const ino_t before = Inode("photo.jpg");
  ExpectStored("photo.jpg", "same");
  EXPECT_EQ(Inode("photo.jpg"), before);
  EXPECT_EQ(Images(), (Tree{{"photo.jpg", "file:same"}}));
}

TEST_F(StorageBackupTest, KeepsTheBackupWhenTheContentsAreTheSame) {
  for (const char* bytes : {"old", "new", "new"}) ExpectStored("photo.jpg", bytes);
  EXPECT_EQ(Read("photo.jpg~"), "old");
}

TEST_F(StorageBackupTest, ComparesContentsUpToTheLastByte) {
  const std::string bytes(200000, 'x');
  ExpectStored("photo.jpg", bytes + "1");
  ExpectStored("photo.jpg", bytes + "2");
  EXPECT_EQ(Read("photo.jpg~"), bytes + "1");
}

TEST_F(StorageBackupTest, TreatsAPrefixAsDifferentContents) {
  ExpectStored("photo.jpg", "picture");
  ExpectStored("photo.jpg", "pic");
  ExpectStored("photo.jpg", "");
  ExpectStored("photo.jpg", "picture");
  EXPECT_EQ(Read("photo.jpg~"), "");
}

TEST_F(StorageBackupTest, AcceptsTheSameContentsBeyondTheLimits) {
  Put("photo.jpg", "same");
  Put("other.jpg", "other");
  m_limits.files = 1;
  m_limits.bytes = 1;
  ExpectStored("photo.jpg", "same");
  ExpectRefused("photo.jpg", "else");
}

TEST_F(StorageBackupTest, RefusesToReplaceANameTooLongForABackup) {
  const std::string name(255, 'n');
  ExpectStored(name, "old");
  ExpectRefused(name, "new");
  ExpectStored(name, "old");
}

TEST_F(StorageBackupTest, ReplacesTheLongestNameThatCanHaveABackup) {
  const std::string name(254, 'n');
  ExpectStored(name, "old");
  ExpectStored(name, "new");
  EXPECT_EQ(Read(name + "~"), "old");
}

TEST_F(StorageBackupTest, RefusesToReplaceWhenTheBackupIsAFolder) {
  Put("photo.jpg", "old");
  MakeFolder("photo.jpg~");
  ExpectRefused("photo.jpg");
}

TEST_F(StorageBackupTest, StoresABackupLikeAnyFile) {
  ExpectStored("photo.jpg", "1");
  ExpectStored("photo.jpg", "2");
  ExpectStored("photo.jpg~", "3");
  EXPECT_EQ(Read("photo.jpg~~"), "1");
}

TEST_F(StorageBackupTest, StoresAfterACrashBetweenBackupAndReplacement) {
  Put("photo.jpg", "old");
  ASSERT_EQ(::link(At("photo.jpg").c_str(), At("photo.jpg~").c_str()), 0);
  ExpectStored("photo.jpg", "new");
  EXPECT_EQ(Images(), (Tree{{"photo.jpg", "file:new"}, {"photo.jpg~", "file:old"}}));
}

TEST_F(StorageBackupTest, RemovesTheBackupWhenTheFileIsNotReplaced) {
  Put("photo.jpg", "old");
  const Tree before = Images();
  MakeAndGiveUp("photo.jpg");
  EXPECT_EQ(Images(), before);
}

TEST_F(StorageBackupTest, RestoresAnOlderBackupWhenTheFileIsNotReplaced) {
  Put("photo.jpg", "old");
  Put("photo.jpg~", "older");
  const Tree before = Images();
  MakeAndGiveUp("photo.jpg");
  EXPECT_EQ(Images(), before);
}

TEST_F(StorageBackupTest, RestoresABackupThatIsALinkToTheFile) {
  Put("photo.jpg", "old");
  ASSERT_EQ(::link(At("photo.jpg").c_str(), At("photo.jpg~").c_str()), 0);
  const Tree before = Images();
  MakeAndGiveUp("photo.jpg");
  EXPECT_EQ(Images(), before);
}

TEST_F(StorageBackupTest, KeepsTheExistingFileWithoutHardLinks) {
  InChild([&] {
    RefuseLinks();
    for (const char* bytes : {"1", "2", "3"}) ExpectStored("photo.jpg", bytes);
    EXPECT_EQ(Images(), (Tree{{"photo.jpg", "file:3"}, {"photo.jpg~", "file:2"}}));
  });
}

TEST_F(StorageBackupTest, RestoresEverythingWithoutHardLinks) {
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

TEST_F(StorageBackupTest, RefusesToReplaceWithoutHardLinksWhenTheBackupIsAFolder) {
  Put("photo.jpg", "old");
  MakeFolder("photo.jpg~");
  InChild([&] {
    RefuseLinks();
    ExpectRefused("photo.jpg");
  });
}

TEST_F(StorageBackupTest, RefusesToReplaceWhenLinkingFails) {
  Put("photo.jpg", "old");
  InChild([&] {
    RefuseSystemCalls({SYS_linkat}, EIO);
    ExpectRefused("photo.jpg");
  });
}

TEST_F(StorageBackupTest, ChangesNothingWhenRenamingFails) {
  Put("a/photo.jpg", "old");
  Put("a/photo.jpg~", "older");
  InChild([&] {
    RefuseSystemCalls({SYS_renameat, SYS_renameat2}, EIO);
    ExpectRefused("a/photo.jpg");
    ExpectRefused("a/new.jpg");
  });
}

TEST_F(StorageBackupTest, KeepsAFileOfAnotherUser) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can make files of two users";
  MakeFolder("theirs");
  Put("theirs/photo.jpg", "old");
  ASSERT_EQ(::chown(At("theirs").c_str(), 65534, 65534), 0);
  // Where the kernel protects hard links, "nobody" can't link to root's file.
  AsOrdinaryUser([&] { ExpectStored("theirs/photo.jpg", "new"); });
  EXPECT_EQ(Read("theirs/photo.jpg~"), "old");
}

constexpr std::size_t kSize = 4U << 20;

class StorageTemporaryTest : public StorageTest {
 protected:
  static bool Whole(const std::string& bytes) {
    return bytes.size() == kSize && bytes == std::string(kSize, bytes[0]);
  }
  // Until the process is killed.
  void StoreForEver() const {
    for (unsigned i = 0;; ++i)
      Store("a/photo.jpg", std::string(kSize, static_cast<char>('a' + i % 26)));
  }
  void KillWhenAFileIsUnfinished() const {
    StorageChild child([&] { StoreForEver(); });
    const Clock::time_point deadline = Clock::now() + std::chrono::seconds(60);
    while (Unfinished().empty()) ASSERT_LT(Clock::now(), deadline);
    child.Kill();
    child.Join();
  }
  void ExpectOnlyWholeFiles() const {
    for (const char* name : {"a/photo.jpg", "a/photo.jpg~"}) {
      EXPECT_TRUE(!fs::exists(At(name)) || Whole(Read(name))) << name;
    }
  }
  // As the telephone does after a restart.
  void StoreInANewProcess(const std::string& name) const {
    InChild([&] { ExpectStored(name, "after"); });
  }
};

TEST_F(StorageTemporaryTest, CleansUpAfterAKillBetweenWritingAndRenaming) {
  const Clock::time_point deadline = Clock::now() + std::chrono::seconds(100);
  while (Unfinished().empty()) {
    ASSERT_LT(Clock::now(), deadline);
    KillWhenAFileIsUnfinished();
    ExpectOnlyWholeFiles();
  }
  StoreInANewProcess("after.jpg");
  EXPECT_TRUE(Unfinished().empty());
  ExpectOnlyWholeFiles();
}

TEST_F(StorageTemporaryTest, LeavesWholeFilesAfterAKillAtAnyMoment) {
  for (int round = 0; round < 25; ++round) {
    StorageChild child([&] { StoreForEver(); });
    // Kills at another moment each time.
    std::this_thread::sleep_for(std::chrono::microseconds(round * 1700));
    child.Kill();
    child.Join();
    ExpectOnlyWholeFiles();
  }
  StoreInANewProcess("after.jpg");
  EXPECT_TRUE(Unfinished().empty());
  ExpectOnlyWholeFiles();
}

TEST_F(StorageTemporaryTest, CleansUpAfterAKilledProcessAtTheNextCount) {
  ExpectStored("before.jpg", "before");
  const Clock::time_point deadline = Clock::now() + std::chrono::seconds(100);
  while (Unfinished().empty()) {
    ASSERT_LT(Clock::now(), deadline);
    KillWhenAFileIsUnfinished();
  }
  CountAnew();
  EXPECT_TRUE(Unfinished().empty());
}

TEST_F(StorageTemporaryTest, RemovesAnAbandonedTemporaryFile) {
  Put(".storage-0123456789abcdef", "half a pict");
  ExpectStored("photo.jpg", "picture");
  EXPECT_EQ(Images(), (Tree{{"photo.jpg", "file:picture"}}));
}

TEST_F(StorageTemporaryTest, DoesNotCountAnAbandonedTemporaryFile) {
  Put(".storage-0123456789abcdef", std::string(1000, 'x'));
  m_limits.files = 1;
  m_limits.bytes = 10;
  ExpectStored("photo.jpg", "picture");
}

TEST_F(StorageTemporaryTest, KeepsAndCountsATemporaryFileInUse) {
  Put(".storage-0123456789abcdef", "half a pict");
  const StorageDescriptor writer(
      ::open(At(".storage-0123456789abcdef").c_str(), O_RDONLY | O_CLOEXEC));
  ASSERT_EQ(::flock(writer.get(), LOCK_EX), 0);
  m_limits.files = 2;
  EXPECT_TRUE(Store("photo.jpg", "picture"));
  EXPECT_EQ(Unfinished().size(), 1U);
  EXPECT_FALSE(Store("other.jpg", "other"));
}

TEST_F(StorageTemporaryTest, KeepsFilesThatOnlyResembleTemporaryOnes) {
  Put(".storage-notes", "mine");
  Put(".storage-0123456789abcdefg", "mine");
  Put("a/.storage-0123456789abcdef", "mine");
  MakeFolder(".storage-1123456789abcdef");
  Link(".storage-2123456789abcdef", m_folder + "/outside/secret");
  ASSERT_EQ(::mkfifo(At(".storage-3123456789abcdef").c_str(), 0666), 0);
  const std::size_t before = Images().size();
  EXPECT_TRUE(Store("photo.jpg", "picture"));
  EXPECT_EQ(Images().size(), before + 1);
}

TEST_F(StorageTemporaryTest, HasItsFullSizeBeforeItIsFilled) {
  // Other processes count it, and two writers can't both use the last free space.
  const StorageDescriptor root = OpenRoot();
  StorageUsage usage;
  StorageTemporary file(root.get(), usage);
  file.create(1U << 20);
  ASSERT_EQ(Unfinished().size(), 1U);
  struct stat unfinished {};
  ASSERT_EQ(::stat(At(Unfinished()[0]).c_str(), &unfinished), 0);
  EXPECT_EQ(unfinished.st_size, 1 << 20);
}

}  // namespace
