// Limits and counting.

#include <chrono>
#include <filesystem>
#include <limits>
#include <string>

#include "StorageFixture.h"
#include "StorageRoot.h"
#include "StorageUsage.h"

namespace {

namespace fs = std::filesystem;
using framework_detail::StorageDescriptor;
using framework_detail::StorageError;
using framework_detail::StorageLock;
using framework_detail::StorageUsage;
using std::chrono::milliseconds;
using std::chrono::seconds;

class StorageUsageTest : public StorageTest {
 protected:
  void SetUp() override {
    StorageTest::SetUp();
    m_limits.freeBytes = 0;
  }
  // Whether one more file is admitted at this time.
  bool Admits(std::chrono::milliseconds time) {
    const StorageDescriptor root = OpenRoot();
    StorageLock lock(root.get());
    lock.acquire();
    try {
      m_usage.admit(root.get(), {1, 1}, m_limits, StorageUsage::Clock::time_point(time));
      return true;
    } catch (const StorageError&) {
      return false;
    }
  }

  StorageUsage m_usage;
};

TEST_F(StorageUsageTest, StoresFilesUpToTheLimit) {
  m_limits.files = 3;
  for (const char* name : {"1", "2", "3"}) ExpectStored(name, "picture");
  ExpectRefused("4");
}

TEST_F(StorageUsageTest, CountsExistingFiles) {
  for (const char* name : {"1", "a/2", "a/b/3"}) Put(name, "old");
  m_limits.files = 5;
  ExpectRefused("new");
  m_limits.files = 6;
  ExpectStored("new", "new");
}

TEST_F(StorageUsageTest, CountsCreatedFolders) {
  m_limits.files = 3;
  ExpectRefused("a/b/c/photo.jpg");
  ExpectStored("a/b/photo.jpg", "picture");
  ExpectRefused("photo.jpg");
}

TEST_F(StorageUsageTest, CountsBackups) {
  m_limits.files = 2;
  ExpectStored("photo.jpg", "1");
  ExpectStored("photo.jpg", "2");
  ExpectRefused("other.jpg");
}

TEST_F(StorageUsageTest, DoesNotCountReplacedBackups) {
  m_limits.files = 3;
  m_limits.bytes = 30;
  for (int i = 0; i < 20; ++i) ExpectStored("photo.jpg", "picture " + std::to_string(10 + i));
}

TEST_F(StorageUsageTest, DoesNotCountRefusedWrites) {
  Put("photo.jpg", "old");
  MakeFolder("photo.jpg~");
  m_limits.files = 4;
  m_limits.bytes = 20;
  for (int i = 0; i < 20; ++i) ExpectRefused("photo.jpg", "1234567890");
  ExpectStored("other.jpg", "1234567890");
}

TEST_F(StorageUsageTest, DoesNotCountUnchangedFiles) {
  m_limits.files = 2;
  for (int i = 0; i < 10; ++i) ExpectStored("photo.jpg", "same");
  ExpectStored("other.jpg", "other");
}

TEST_F(StorageUsageTest, StoresBytesUpToTheLimit) {
  m_limits.bytes = 1000;
  ExpectRefused("1", std::string(1001, 'x'));
  ExpectStored("1", std::string(600, 'x'));
  ExpectRefused("2", std::string(401, 'x'));
  ExpectStored("2", std::string(400, 'x'));
  ExpectRefused("3", "x");
  ExpectStored("3", "");
}

TEST_F(StorageUsageTest, RefusesEverythingWhenNoFileIsAllowed) {
  m_limits.files = 0;
  ExpectRefused("photo.jpg", "");
}

TEST_F(StorageUsageTest, AppliesTheLimitsOfEachObject) {
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

TEST_F(StorageUsageTest, LeavesTheFreeSpaceOnTheDisk) {
  const std::uint64_t available = fs::space(m_root).available;
  m_limits.freeBytes = available * 2;
  ExpectRefused("photo.jpg");
  m_limits.freeBytes = std::numeric_limits<std::uint64_t>::max();
  ExpectRefused("photo.jpg");
  m_limits.freeBytes = available / 2;
  ExpectStored("photo.jpg", "picture");
}

TEST_F(StorageUsageTest, NoticesDeletedFiles) {
  m_limits.files = 2;
  ExpectStored("1", "1");
  ExpectStored("2", "2");
  ExpectRefused("3");
  fs::remove(At("1"));
  ExpectStoredInTheEnd("3", "3");
}

TEST_F(StorageUsageTest, NoticesFilesOfOthersAtTheNextCount) {
  m_limits.files = 3;
  Put("1", "1");
  EXPECT_TRUE(Admits(seconds(0)));
  Put("2", "2");
  Put("3", "3");
  EXPECT_TRUE(Admits(StorageUsage::kMaxAge - milliseconds(1)));
  EXPECT_FALSE(Admits(seconds(60)));
}

TEST_F(StorageUsageTest, CountsAgainSoonerWhenALimitIsReached) {
  m_limits.files = 1;
  Put("1", "1");
  EXPECT_FALSE(Admits(seconds(0)));
  fs::remove(At("1"));
  EXPECT_FALSE(Admits(StorageUsage::kRecountWhenFull - milliseconds(1)));
  EXPECT_TRUE(Admits(StorageUsage::kMaxAge - milliseconds(1)));
}

TEST_F(StorageUsageTest, CountsOnceInAWhileInAFloodOfRefusedWrites) {
  m_limits.files = 50;
  for (int i = 0; i < 60; ++i) Put(std::to_string(i), "old");
  for (int time = 0; time < 2000; ++time) EXPECT_FALSE(Admits(milliseconds(time)));
  EXPECT_LE(m_usage.counts(), 2U);
}

TEST_F(StorageUsageTest, CountsOnceInAWhileInAFloodOfWrites) {
  for (int time = 0; time < 2000; ++time) EXPECT_TRUE(Admits(milliseconds(time)));
  EXPECT_EQ(m_usage.counts(), 1U);
}

TEST_F(StorageUsageTest, AddsWhatThisProcessWritesToTheCount) {
  m_limits.files = 3;
  EXPECT_TRUE(Admits(seconds(0)));
  m_usage.add({3, 0});
  EXPECT_FALSE(Admits(milliseconds(1)));
  m_usage.remove({1, 0});
  EXPECT_TRUE(Admits(milliseconds(2)));
}

TEST_F(StorageUsageTest, NoticesARecreatedRoot) {
  m_limits.files = 2;
  ExpectStored("1", "1");
  ExpectStored("2", "2");
  fs::remove_all(m_root);
  fs::create_directory(m_root);
  ExpectStoredInTheEnd("1", "1");
  ExpectStored("2", "2");
  ExpectRefused("3");
}

TEST_F(StorageUsageTest, RefusesWhenFoldersAreNestedTooDeeplyToBeCounted) {
  std::string name = "d";
  for (int i = 0; i < 300; ++i) name += "/d";
  MakeFolder(name);
  ExpectRefused("photo.jpg");
}

}  // namespace
