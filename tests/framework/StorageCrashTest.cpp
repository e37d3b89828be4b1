// Processes that are killed while they store.

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <thread>

#include "StorageFixture.h"
#include "StorageRoot.h"

namespace fs = std::filesystem;

namespace {

using framework_detail::StorageDescriptor;
using Clock = std::chrono::steady_clock;

constexpr std::size_t kSize = 4U << 20;

class StorageCrashTest : public StorageTest {
 protected:
  static bool Whole(const std::string& bytes) {
    return bytes.size() == kSize && bytes == std::string(kSize, bytes[0]);
  }
  /// What the child does until it is killed.
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
  /// As the next start of the telephone does.
  void StoreInANewProcess(const std::string& name) const {
    InChild([&] { ExpectStored(name, "after"); });
  }
};

TEST_F(StorageCrashTest, AfterAKillBetweenWritingAndRenamingTheNextWriterCleansUp) {
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

TEST_F(StorageCrashTest, AfterAKillAtAnyMomentAllFilesAreWhole) {
  for (int round = 0; round < 25; ++round) {
    StorageChild child([&] { StoreForEver(); });
    // Not to wait for something: to be somewhere else in the work each time.
    std::this_thread::sleep_for(std::chrono::microseconds(round * 1700));
    child.Kill();
    child.Join();
    ExpectOnlyWholeFiles();
  }
  StoreInANewProcess("after.jpg");
  EXPECT_TRUE(Unfinished().empty());
  ExpectOnlyWholeFiles();
}

TEST_F(StorageCrashTest, AProcessThatGoesOnCleansUpAfterOneThatWasKilled) {
  ExpectStored("before.jpg", "before");
  const Clock::time_point deadline = Clock::now() + std::chrono::seconds(100);
  while (Unfinished().empty()) {
    ASSERT_LT(Clock::now(), deadline);
    KillWhenAFileIsUnfinished();
  }
  ExpectStored("after.jpg", "after");
}

TEST_F(StorageCrashTest, AnAbandonedFileIsRemoved) {
  Put(".storage-0123456789abcdef", "half a pict");
  ExpectStored("photo.jpg", "picture");
  EXPECT_EQ(Images(), (Tree{{"photo.jpg", "file:picture"}}));
}

TEST_F(StorageCrashTest, AnAbandonedFileDoesNotCount) {
  Put(".storage-0123456789abcdef", std::string(1000, 'x'));
  m_limits.files = 1;
  m_limits.bytes = 10;
  ExpectStored("photo.jpg", "picture");
}

TEST_F(StorageCrashTest, AnUnfinishedFileThatIsInUseStaysAndCounts) {
  Put(".storage-0123456789abcdef", "half a pict");
  const StorageDescriptor writer(
      ::open(At(".storage-0123456789abcdef").c_str(), O_RDONLY | O_CLOEXEC));
  ASSERT_EQ(::flock(writer.get(), LOCK_EX), 0);
  m_limits.files = 2;
  EXPECT_TRUE(Store("photo.jpg", "picture"));
  EXPECT_EQ(Unfinished().size(), 1U);
  EXPECT_FALSE(Store("other.jpg", "other"));
}

TEST_F(StorageCrashTest, FilesThatMerelyLookLikeAbandonedOnesStay) {
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

}  // namespace
