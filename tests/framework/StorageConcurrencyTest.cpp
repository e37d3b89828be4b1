// Concurrent writers, in one process and in several.

#include <unistd.h>

#include <atomic>
#include <functional>
#include <list>
#include <string>
#include <thread>
#include <vector>

#include "StorageFixture.h"

namespace {

constexpr int kWriters = 4;
constexpr int kRounds = 15;

class StorageConcurrencyTest : public StorageTest {
 protected:
  // Contents that tell whether they are whole: a letter for each writer, and a length that depends
  // on the writer and the round.
  static std::string Bytes(int writer, int round) {
    return std::string(50000 + static_cast<std::size_t>(writer * kRounds + round),
                       static_cast<char>('a' + writer));
  }
  static bool Whole(const std::string& bytes) {
    if (bytes.empty()) return false;
    const int writer = bytes[0] - 'a';
    const int round = static_cast<int>(bytes.size()) - 50000 - writer * kRounds;
    return round >= 0 && round < kRounds && bytes == Bytes(writer, round);
  }
  void ExpectWhole(const std::string& name) const { EXPECT_TRUE(Whole(Read(name))) << name; }
  void StoreRounds(int writer, const std::string& name) const {
    for (int round = 0; round < kRounds; ++round) EXPECT_TRUE(Store(name, Bytes(writer, round)));
  }
  void InThreads(const std::function<void(int)>& work) const {
    std::vector<std::thread> threads;
    for (int writer = 0; writer < kWriters; ++writer) threads.emplace_back(work, writer);
    for (std::thread& thread : threads) thread.join();
  }
  void InProcesses(const std::function<void(int)>& work) const {
    std::list<StorageChild> children;
    for (int writer = 0; writer < kWriters; ++writer) {
      children.emplace_back([&] {
        work(writer);
        ::_exit(HasFailure() ? 1 : 0);
      });
    }
    for (StorageChild& child : children) EXPECT_EQ(child.Join(), 0);
  }
};

TEST_F(StorageConcurrencyTest, LeavesWholeFilesWhenThreadsWriteOneName) {
  InThreads([&](int writer) { StoreRounds(writer, "photo.jpg"); });
  ExpectWhole("photo.jpg");
  ExpectWhole("photo.jpg~");
  EXPECT_EQ(Images().size(), 2U);
}

TEST_F(StorageConcurrencyTest, LeavesWholeFilesWhenProcessesWriteOneName) {
  InProcesses([&](int writer) { StoreRounds(writer, "photo.jpg"); });
  ExpectWhole("photo.jpg");
  ExpectWhole("photo.jpg~");
  EXPECT_EQ(Images().size(), 2U);
}

TEST_F(StorageConcurrencyTest, ShowsReadersTheOldOrTheNewFile) {
  ExpectStored("photo.jpg", Bytes(0, 0));
  std::atomic<bool> writing{true};
  std::thread reader([&] {
    while (writing) ExpectWhole("photo.jpg");
  });
  InThreads([&](int writer) { StoreRounds(writer, "photo.jpg"); });
  writing = false;
  reader.join();
}

TEST_F(StorageConcurrencyTest, StoresWhenThreadsCreateTheSameFolders) {
  InThreads([&](int writer) {
    for (int round = 0; round < kRounds; ++round) {
      const std::string folder = "a/" + std::to_string(round) + "/b/";
      EXPECT_TRUE(Store(folder + std::to_string(writer), Bytes(writer, round)));
    }
  });
  EXPECT_EQ(Images().size(), 1U + kRounds * 2 + kRounds * kWriters);
}

TEST_F(StorageConcurrencyTest, KeepsFoldersThatAnotherProcessUses) {
  // Even writers fail from the second time on, as there is no room for a backup's name: the folders
  // that they remove then must not be in use.
  const std::string once(255, 'n');
  InProcesses([&](int writer) {
    for (int round = 0; round < kRounds; ++round) {
      const std::string folder = "a" + std::to_string(round) + "/b/";
      const bool even = writer % 2 == 0;
      const bool stored =
          Store(folder + (even ? once : std::to_string(writer)), Bytes(writer, round));
      EXPECT_TRUE(stored || even);
    }
  });
  EXPECT_EQ(Images().size(), kRounds * 2 + kRounds * 3U);
}

TEST_F(StorageConcurrencyTest, HoldsTheLimitsExactlyWhenThreadsWrite) {
  m_limits.files = 20;
  std::atomic<int> stored{0};
  InThreads([&](int writer) {
    for (int round = 0; round < kRounds; ++round) {
      stored += Store(std::to_string(writer) + "-" + std::to_string(round), "picture") ? 1 : 0;
    }
  });
  EXPECT_EQ(stored, 20);
  EXPECT_EQ(Images().size(), 20U);
}

TEST_F(StorageConcurrencyTest, HoldsTheLimitsWhenThreadsCreateFolders) {
  m_limits.files = 20;
  InThreads([&](int writer) {
    for (int round = 0; round < kRounds; ++round) {
      const std::string folder = std::to_string(writer) + "-" + std::to_string(round);
      Store(folder + "/a/b/c/d/photo.jpg", Bytes(writer, round));
    }
  });
  EXPECT_LE(Images().size(), 20U);
  EXPECT_GT(Images().size(), 10U);
}

TEST_F(StorageConcurrencyTest, LeavesTemporaryFilesOfOtherProcessesAlone) {
  // Counting removes abandoned files; these are in use.
  InProcesses([&](int writer) {
    for (int round = 0; round < kRounds; ++round) {
      CountAnew();
      EXPECT_TRUE(Store(std::to_string(writer), std::string(2000000, static_cast<char>(round))));
    }
  });
  EXPECT_TRUE(Unfinished().empty());
}

}  // namespace
