#include "framework/Semaphore.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <climits>
#include <future>
#include <memory>
#include <thread>
#include <vector>

#include "Waiting.h"

namespace {

using Clock = std::chrono::steady_clock;

// Takes all available units and returns their number.
int drain(Semaphore& semaphore) {
  int units = 0;
  while (semaphore.take(0)) ++units;
  return units;
}

template <typename Body>
void onThreads(int count, Body body) {
  std::vector<std::thread> threads;
  for (int index = 0; index < count; ++index) threads.emplace_back(body);
  for (std::thread& thread : threads) thread.join();
}

TEST(SemaphoreTest, StartsWithTheInitialUnits) {
  Semaphore semaphore(3, 5, false);
  EXPECT_EQ(drain(semaphore), 3);
}

TEST(SemaphoreTest, FailsAtOnceWithoutATimeout) {
  Semaphore semaphore(0, 1, false);
  EXPECT_FALSE(semaphore.take(0));
}

TEST(SemaphoreTest, WaitsForTheWholeTimeout) {
  Semaphore semaphore(0, 1, false);
  const auto begin = Clock::now();
  EXPECT_FALSE(semaphore.take(30));
  EXPECT_GE(Clock::now() - begin, std::chrono::milliseconds(30));
}

TEST(SemaphoreTest, TakesAnAvailableUnitWhateverTheTimeout) {
  Semaphore semaphore(3, 3, false);
  EXPECT_TRUE(semaphore.take(0));
  EXPECT_TRUE(semaphore.take(INT_MAX));
  EXPECT_TRUE(semaphore.take(-1));
}

TEST(SemaphoreTest, RefusesUnitsBeyondTheMaximum) {
  Semaphore semaphore(1, 2, false);
  EXPECT_TRUE(semaphore.give());
  EXPECT_FALSE(semaphore.give());
  EXPECT_EQ(drain(semaphore), 2);
}

TEST(SemaphoreTest, StartsWithTheMaximumAtMost) {
  Semaphore semaphore(9, 2, false);
  EXPECT_EQ(drain(semaphore), 2);
}

TEST(SemaphoreTest, StartsEmptyWithANegativeCount) {
  Semaphore semaphore(-1, 2, false);
  EXPECT_EQ(drain(semaphore), 0);
  EXPECT_TRUE(semaphore.give());
}

TEST(SemaphoreTest, WakesAThreadThatWaitsForEver) {
  Semaphore semaphore(0, 1, false);
  auto taker = std::async(std::launch::async, [&] { return semaphore.take(-1); });
  EXPECT_EQ(taker.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
  EXPECT_TRUE(semaphore.give());
  ASSERT_EQ(taker.wait_for(waiting::kDeadline), std::future_status::ready);
  EXPECT_TRUE(taker.get());
}

TEST(SemaphoreTest, WakesAThreadThatWaitsWithATimeout) {
  Semaphore semaphore(0, 1, false);
  auto taker = std::async(std::launch::async, [&] { return semaphore.take(INT_MAX); });
  EXPECT_TRUE(semaphore.give());
  ASSERT_EQ(taker.wait_for(waiting::kDeadline), std::future_status::ready);
  EXPECT_TRUE(taker.get());
}

TEST(SemaphoreTest, WakesOneThreadForEachUnit) {
  Semaphore semaphore(0, 4, false);
  std::atomic<int> taken = 0;
  std::thread giver([&] {
    for (int unit = 0; unit < 4; ++unit) semaphore.give();
  });
  onThreads(4, [&] { taken += semaphore.take(-1) ? 1 : 0; });
  giver.join();
  EXPECT_EQ(taken, 4);
  EXPECT_FALSE(semaphore.take(0));
}

TEST(SemaphoreTest, AllowsGivingOnAnotherThread) {
  Semaphore semaphore(1, 1, false);
  EXPECT_TRUE(semaphore.take(-1));
  std::thread([&] { EXPECT_TRUE(semaphore.give()); }).join();
  EXPECT_TRUE(semaphore.take(0));
}

TEST(SemaphoreTest, ExcludesOtherThreadsAsAMutex) {
  Semaphore semaphore(1, 1, false);
  int sum = 0;  // guarded by the semaphore
  onThreads(4, [&] {
    for (int round = 0; round < 5000; ++round) {
      ASSERT_TRUE(semaphore.take(-1));
      ++sum;
      ASSERT_TRUE(semaphore.give());
    }
  });
  EXPECT_EQ(sum, 20000);
}

TEST(SemaphoreTest, NeverGivesOutMoreUnitsThanThereAre) {
  Semaphore semaphore(2, 2, false);
  std::atomic<int> inside = 0;
  std::atomic<int> most = 0;
  onThreads(6, [&] {
    for (int round = 0; round < 2000; ++round) {
      if (!semaphore.take(round % 2 == 0 ? -1 : 1)) continue;
      const int now = ++inside;
      int seen = most.load();
      while (seen < now && !most.compare_exchange_weak(seen, now)) {
      }
      --inside;
      ASSERT_TRUE(semaphore.give());
    }
  });
  EXPECT_LE(most, 2);
  EXPECT_GE(most, 1);
  EXPECT_EQ(drain(semaphore), 2);
}

TEST(SemaphoreTest, AllowsDeletingItAfterTheLastTake) {
  for (int round = 0; round < 500; ++round) {
    auto semaphore = std::make_unique<Semaphore>(0, 1, false);
    std::thread giver([given = semaphore.get()] { given->give(); });
    EXPECT_TRUE(semaphore->take(-1));
    semaphore.reset();
    giver.join();
  }
}

}  // namespace
