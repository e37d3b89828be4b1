// How much a stranger can make the telephone write.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <limits>
#include <string>

#include "StorageFixture.h"
#include "StorageRoot.h"
#include "StorageTemporary.h"
#include "StorageUsage.h"

namespace fs = std::filesystem;

namespace {

using framework_detail::StorageDescriptor;
using framework_detail::StorageError;
using framework_detail::StorageLock;
using framework_detail::StorageTemporary;
using framework_detail::StorageUsage;

class StorageLimitsTest : public StorageTest {
 protected:
  void SetUp() override {
    StorageTest::SetUp();
    m_limits.freeBytes = 0;
  }
  StorageDescriptor OpenRoot() const {
    return StorageDescriptor(::open(m_root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  }
};

TEST_F(StorageLimitsTest, AsManyFilesAsAllowedAreStored) {
  m_limits.files = 3;
  for (const char* name : {"1", "2", "3"}) ExpectStored(name, "picture");
  ExpectRefused("4");
}

TEST_F(StorageLimitsTest, FilesThatWereThereBeforeCount) {
  for (const char* name : {"1", "a/2", "a/b/3"}) Put(name, "old");
  m_limits.files = 5;
  ExpectRefused("new");
  m_limits.files = 6;
  ExpectStored("new", "new");
}

TEST_F(StorageLimitsTest, FoldersThatAreMadeCount) {
  m_limits.files = 3;
  ExpectRefused("a/b/c/photo.jpg");
  ExpectStored("a/b/photo.jpg", "picture");
  ExpectRefused("photo.jpg");
}

TEST_F(StorageLimitsTest, BackupsCount) {
  m_limits.files = 2;
  ExpectStored("photo.jpg", "1");
  ExpectStored("photo.jpg", "2");
  ExpectRefused("other.jpg");
}

TEST_F(StorageLimitsTest, ABackupThatIsReplacedCountsNoMore) {
  m_limits.files = 3;
  m_limits.bytes = 30;
  for (int i = 0; i < 20; ++i) ExpectStored("photo.jpg", "picture " + std::to_string(10 + i));
}

TEST_F(StorageLimitsTest, WritesThatAreRefusedCountNothing) {
  Put("photo.jpg", "old");
  MakeFolder("photo.jpg~");
  m_limits.files = 4;
  m_limits.bytes = 20;
  for (int i = 0; i < 20; ++i) ExpectRefused("photo.jpg", "1234567890");
  ExpectStored("other.jpg", "1234567890");
}

TEST_F(StorageLimitsTest, TheSameBytesAgainCountNothing) {
  m_limits.files = 2;
  for (int i = 0; i < 10; ++i) ExpectStored("photo.jpg", "same");
  ExpectStored("other.jpg", "other");
}

TEST_F(StorageLimitsTest, AsManyBytesAsAllowedAreStored) {
  m_limits.bytes = 1000;
  ExpectRefused("1", std::string(1001, 'x'));
  ExpectStored("1", std::string(600, 'x'));
  ExpectRefused("2", std::string(401, 'x'));
  ExpectStored("2", std::string(400, 'x'));
  ExpectRefused("3", "x");
  ExpectStored("3", "");
}

TEST_F(StorageLimitsTest, NothingAtAllMayBeAllowed) {
  m_limits.files = 0;
  ExpectRefused("photo.jpg", "");
}

TEST_F(StorageLimitsTest, ObjectsWithOtherLimitsForTheSameRootKeepTheirOwn) {
  for (const char* name : {"1", "2", "3", "4", "5"}) Put(name, "12345");
  m_limits.files = 2;
  ExpectRefused("new");
  m_limits.files = 5;
  ExpectRefused("new");
  m_limits.files = 6;
  ExpectStored("new", "new");
  m_limits.bytes = 10;
  ExpectRefused("other");
  m_limits = {};
  ExpectStored("other", "other");
}

TEST_F(StorageLimitsTest, WhatMustBeLeftFreeIsLeftFree) {
  const std::uint64_t available = fs::space(m_root).available;
  m_limits.freeBytes = available * 2;
  ExpectRefused("photo.jpg");
  m_limits.freeBytes = std::numeric_limits<std::uint64_t>::max();
  ExpectRefused("photo.jpg");
  m_limits.freeBytes = available / 2;
  ExpectStored("photo.jpg", "picture");
}

TEST_F(StorageLimitsTest, RoomThatSomeoneMakesIsSeen) {
  m_limits.files = 2;
  ExpectStored("1", "1");
  ExpectStored("2", "2");
  ExpectRefused("3");
  fs::remove(At("1"));
  ExpectStoredInTheEnd("3", "3");
}

TEST_F(StorageLimitsTest, RoomThatSomeoneMakesInAFolderIsSeen) {
  m_limits.files = 3;
  ExpectStored("a/b/1", "1");
  ExpectRefused("2");
  fs::remove(At("a/b/1"));
  ExpectStoredInTheEnd("2", "2");
}

TEST_F(StorageLimitsTest, WhatSomeoneElsePutsIntoTheRootIsSeen) {
  m_limits.files = 3;
  ExpectStored("1", "1");
  Put("2", "2");
  Put("3", "3");
  ExpectRefused("4");
}

TEST_F(StorageLimitsTest, ARootThatIsMadeAnewIsCountedAnew) {
  m_limits.files = 2;
  ExpectStored("1", "1");
  ExpectStored("2", "2");
  fs::remove_all(m_root);
  fs::create_directory(m_root);
  ExpectStored("1", "1");
  ExpectStored("2", "2");
  ExpectRefused("3");
}

TEST_F(StorageLimitsTest, TwoProcessesTogetherStayWithinTheLimits) {
  m_limits.files = 40;
  m_limits.bytes = 400;
  const auto storeMany = [&](const std::string& prefix) {
    for (int i = 0; i < 50; ++i) Store(prefix + std::to_string(i), "1234567890");
  };
  StorageChild first([&] { storeMany("first"); });
  StorageChild second([&] { storeMany("second"); });
  EXPECT_EQ(first.Join(), 0);
  EXPECT_EQ(second.Join(), 0);
  EXPECT_EQ(Images().size(), 40U);
}

TEST_F(StorageLimitsTest, AFloodOfRefusedWritesDoesNotCountEverythingEachTime) {
  m_limits.files = 50;
  for (int i = 0; i < 60; ++i) Put(std::to_string(i), "old");
  const StorageDescriptor root = OpenRoot();
  StorageUsage usage;
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < 2000; ++i) {
    StorageLock lock(root.get(), usage);
    lock.acquire();
    EXPECT_THROW(usage.admit(root.get(), {1, 1}, m_limits), StorageError);
  }
  const auto took = std::chrono::steady_clock::now() - start;
  EXPECT_LE(usage.scans(), 2U + static_cast<std::size_t>(took / std::chrono::seconds(1)));
}

TEST_F(StorageLimitsTest, WritesOfOneProcessCountEverythingOnce) {
  ExpectStored("first", "1");
  const StorageDescriptor root = OpenRoot();
  const std::size_t before = StorageUsage::of(root.get()).scans();
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < 50; ++i) ExpectStored("a/" + std::to_string(i % 10), std::to_string(i));
  const auto minutes = (std::chrono::steady_clock::now() - start) / std::chrono::minutes(1);
  EXPECT_LE(StorageUsage::of(root.get()).scans(), before + static_cast<std::size_t>(minutes));
}

TEST_F(StorageLimitsTest, AnUnfinishedFileHasItsWholeSizeBeforeItIsFilled) {
  // So that other processes count it, and two writers can't both use the last of the disk.
  const StorageDescriptor root = OpenRoot();
  StorageUsage usage;
  StorageTemporary file(root.get(), usage);
  file.create(1U << 20);
  ASSERT_EQ(Unfinished().size(), 1U);
  struct stat unfinished {};
  ASSERT_EQ(::stat(At(Unfinished()[0]).c_str(), &unfinished), 0);
  EXPECT_EQ(unfinished.st_size, 1 << 20);
}

TEST_F(StorageLimitsTest, FoldersNestedDeeperThanAnyoneNeedsRefuseTheWrite) {
  std::string name = "d";
  for (int i = 0; i < 300; ++i) name += "/d";
  MakeFolder(name);
  ExpectRefused("photo.jpg");
}

TEST_F(StorageLimitsTest, AStoppedProgramThatHoldsTheLockRefusesTheWriteInTheEnd) {
  const StorageDescriptor theirs = OpenRoot();
  const StorageDescriptor ours = OpenRoot();
  StorageUsage usage;
  StorageLock held(theirs.get(), usage);
  held.acquire();
  StorageLock wanted(ours.get(), usage, std::chrono::milliseconds(50));
  EXPECT_THROW(wanted.acquire(), StorageError);
  held.release();
  EXPECT_NO_THROW(wanted.acquire());
}

TEST_F(StorageLimitsTest, TheLockOfAKilledProcessIsFree) {
  const StorageDescriptor ours = OpenRoot();
  StorageUsage usage;
  int ready[2];
  ASSERT_EQ(::pipe2(ready, O_CLOEXEC), 0);
  {
    StorageChild child([&] {
      const StorageDescriptor theirs = OpenRoot();
      StorageUsage others;
      StorageLock held(theirs.get(), others);
      held.acquire();
      static_cast<void>(::write(ready[1], "x", 1));
      while (true) ::pause();
    });
    char byte = 0;
    ASSERT_EQ(::read(ready[0], &byte, 1), 1);
    StorageLock impatient(ours.get(), usage, std::chrono::milliseconds(50));
    EXPECT_THROW(impatient.acquire(), StorageError);
  }
  StorageLock lock(ours.get(), usage);
  EXPECT_NO_THROW(lock.acquire());
  ::close(ready[0]);
  ::close(ready[1]);
}

}  // namespace
