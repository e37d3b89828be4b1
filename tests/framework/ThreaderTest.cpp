#include "framework/Threader.h"

#include <gtest/gtest.h>
#include <malloc.h>
#include <pthread.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <memory>
#include <set>
#include <thread>
#include <vector>

#include "Waiting.h"
#include "framework/Threadable.h"

namespace {

using waiting::Event;

class Worker : public Threadable {
 public:
  explicit Worker(std::function<void()> body) : m_body(std::move(body)) {}
  void run() override { m_body(); }

 private:
  const std::function<void()> m_body;
};

// Makes the system refuse threads while it exists: each would need a stack of 2^60 bytes.
class NoThreadsToHave {
 public:
  NoThreadsToHave() {
    pthread_getattr_default_np(&m_former);
    pthread_attr_t absurd;
    pthread_attr_init(&absurd);
    pthread_attr_setstacksize(&absurd, std::size_t{1} << 60);
    EXPECT_EQ(pthread_setattr_default_np(&absurd), 0);
    pthread_attr_destroy(&absurd);
  }
  ~NoThreadsToHave() {
    pthread_setattr_default_np(&m_former);
    pthread_attr_destroy(&m_former);
  }
  NoThreadsToHave(const NoThreadsToHave&) = delete;
  NoThreadsToHave& operator=(const NoThreadsToHave&) = delete;

 private:
  pthread_attr_t m_former;
};

std::size_t addressSpaceInMegabytes() {
  std::size_t pages = 0;
  std::ifstream("/proc/self/statm") >> pages;
  return pages * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE)) >> 20;
}

// Of the C library. Constant with a sanitizer's allocator, which finds leaks itself.
std::size_t bytesInUse() { return ::mallinfo2().uordblks; }

std::string nameOfThisThread() {
  std::array<char, 16> name{};
  pthread_getname_np(pthread_self(), name.data(), name.size());
  return name.data();
}

class ThreaderTest : public testing::Test {
 protected:
  bool Spawn(Threadable& threadable, const std::string& name = "") {
    return m_threader.spawn(m_id, &threadable, name, GPALThreadPriority(1), 0);
  }
  unsigned long SpawnAndWait(Threadable& threadable) {
    EXPECT_TRUE(Spawn(threadable));
    threadable.waitForThreadCompletion();
    return m_id;
  }
  std::string NameInside(const std::string& name) {
    std::string inside;
    Worker worker([&] { inside = nameOfThisThread(); });
    EXPECT_TRUE(Spawn(worker, name));
    worker.waitForThreadCompletion();
    return inside;
  }

  Threader m_threader;
  unsigned long m_id = 0;
};

TEST_F(ThreaderTest, RunsTheBodyOnAnotherThread) {
  std::thread::id inside;
  Worker worker([&] { inside = std::this_thread::get_id(); });
  SpawnAndWait(worker);
  EXPECT_NE(inside, std::thread::id());
  EXPECT_NE(inside, std::this_thread::get_id());
}

TEST_F(ThreaderTest, StartsIdsAtOne) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto exitWithFirstId = [this] {
    Worker worker([] {});
    std::exit(static_cast<int>(SpawnAndWait(worker)));
  };
  EXPECT_EXIT(exitWithFirstId(), testing::ExitedWithCode(1), "");
}

TEST_F(ThreaderTest, NeverReusesIds) {
  Worker worker([] {});
  std::set<unsigned long> ids;
  for (int round = 0; round < 100; ++round) {
    EXPECT_TRUE(ids.insert(SpawnAndWait(worker)).second);
    m_threader.destroy(m_id);
  }
  EXPECT_GT(*ids.begin(), 0u);
}

TEST_F(ThreaderTest, SharesThreadsAmongThreaders) {
  std::atomic<bool> ended = false;
  Event mayEnd;
  Worker worker([&] { ended = mayEnd.wait(); });
  ASSERT_TRUE(Spawn(worker));
  mayEnd.signal();
  Threader other;
  other.destroy(m_id);
  EXPECT_TRUE(ended);
}

TEST_F(ThreaderTest, WaitsUntilTheBodyHasReturned) {
  Event mayEnd;
  Worker worker([&] { EXPECT_TRUE(mayEnd.wait()); });
  ASSERT_TRUE(Spawn(worker));
  auto waiter = std::async(std::launch::async, [&] { worker.waitForThreadCompletion(); });
  EXPECT_EQ(waiter.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
  mayEnd.signal();
  EXPECT_EQ(waiter.wait_for(waiting::kDeadline), std::future_status::ready);
}

TEST_F(ThreaderTest, SynchronizesWithTheBodyWhenWaiting) {
  int written = 0;
  Worker worker([&] { written = 7; });
  SpawnAndWait(worker);
  EXPECT_EQ(written, 7);
}

TEST_F(ThreaderTest, ReturnsAtOnceWhenNeverSpawned) {
  Worker worker([] { ADD_FAILURE() << "ran"; });
  worker.waitForThreadCompletion();
}

TEST_F(ThreaderTest, ReturnsAtOnceWhenWaitingAgain) {
  Worker worker([] {});
  SpawnAndWait(worker);
  worker.waitForThreadCompletion();
}

TEST_F(ThreaderTest, ReturnsAtOnceWhenWaitingOnTheThreadItself) {
  bool returned = false;
  std::unique_ptr<Worker> worker;
  worker = std::make_unique<Worker>([&] {
    worker->waitForThreadCompletion();
    returned = true;
  });
  SpawnAndWait(*worker);
  EXPECT_TRUE(returned);
}

TEST_F(ThreaderTest, WakesAllWaiters) {
  Event mayEnd;
  Worker worker([&] { EXPECT_TRUE(mayEnd.wait()); });
  ASSERT_TRUE(Spawn(worker));
  std::vector<std::future<void>> waiters;
  for (int index = 0; index < 4; ++index) {
    waiters.push_back(std::async(std::launch::async, [&] { worker.waitForThreadCompletion(); }));
    waiters.push_back(std::async(std::launch::async, [this] { m_threader.destroy(m_id); }));
  }
  mayEnd.signal();
  for (auto& waiter : waiters) {
    EXPECT_EQ(waiter.wait_for(waiting::kDeadline), std::future_status::ready);
  }
}

TEST_F(ThreaderTest, AllowsAnotherThreadToDeleteTheObjectAfterWaiting) {
  for (int round = 0; round < 300; ++round) {
    auto worker = std::make_unique<Worker>([] {});
    ASSERT_TRUE(Spawn(*worker));
    std::thread deleter([owned = std::move(worker)]() mutable {
      owned->waitForThreadCompletion();
      owned.reset();
    });
    m_threader.destroy(m_id);
    deleter.join();
  }
}

TEST_F(ThreaderTest, EndsTheSystemsThreadAfterWaiting) {
  std::string task;
  Worker worker([&] { task = "/proc/self/task/" + std::to_string(::gettid()); });
  SpawnAndWait(worker);
  EXPECT_TRUE(waiting::until([&] { return !std::filesystem::exists(task); }));
}

TEST_F(ThreaderTest, FreesTheStackAfterWaiting) {
  Worker worker([] {});
  SpawnAndWait(worker);
  const std::size_t before = addressSpaceInMegabytes();
  for (int round = 0; round < 500; ++round) SpawnAndWait(worker);
  // Each thread that isn't joined would keep some megabytes.
  EXPECT_LT(addressSpaceInMegabytes(), before + 500);
}

TEST_F(ThreaderTest, FreesTheStackWhenSpawnedAgain) {
  Worker worker([] {});
  SpawnAndWait(worker);
  const std::size_t before = addressSpaceInMegabytes();
  for (int round = 0; round < 500; ++round) {
    ASSERT_TRUE(waiting::until([&] { return Spawn(worker); }));
  }
  worker.waitForThreadCompletion();
  EXPECT_LT(addressSpaceInMegabytes(), before + 500);
}

TEST_F(ThreaderTest, FreesTheMemoryOfJoinedAndRefusedThreads) {
  Worker worker([] {});
  SpawnAndWait(worker);
  const std::size_t before = bytesInUse();
  for (int round = 0; round < 1000; ++round) {
    SpawnAndWait(worker);
    const NoThreadsToHave refused;
    EXPECT_FALSE(Spawn(worker));
  }
  EXPECT_LT(bytesInUse(), before + 50000);
}

TEST_F(ThreaderTest, LeavesTheIdUnchangedWhenTheSystemRefusesAThread) {
  Worker worker([] { ADD_FAILURE() << "ran"; });
  m_id = 77;
  {
    const NoThreadsToHave refused;
    EXPECT_FALSE(Spawn(worker));
  }
  EXPECT_EQ(m_id, 77u);
}

TEST_F(ThreaderTest, ReturnsAtOnceWhenTheSpawnWasRefused) {
  Worker worker([] { ADD_FAILURE() << "ran"; });
  const NoThreadsToHave refused;
  EXPECT_FALSE(Spawn(worker));
  worker.waitForThreadCompletion();
}

TEST_F(ThreaderTest, SpawnsAgainAfterARefusal) {
  bool ran = false;
  Worker worker([&] { ran = true; });
  {
    const NoThreadsToHave refused;
    EXPECT_FALSE(Spawn(worker));
  }
  SpawnAndWait(worker);
  EXPECT_TRUE(ran);
}

TEST_F(ThreaderTest, RefusesNull) {
  m_id = 77;
  EXPECT_FALSE(m_threader.spawn(m_id, nullptr, "", GPALThreadPriority(1), 0));
  EXPECT_EQ(m_id, 77u);
}

TEST_F(ThreaderTest, RefusesAnObjectThatIsRunning) {
  Event mayEnd;
  Worker worker([&] { EXPECT_TRUE(mayEnd.wait()); });
  ASSERT_TRUE(Spawn(worker));
  const unsigned long first = m_id;
  EXPECT_FALSE(Spawn(worker));
  EXPECT_EQ(m_id, first);
  mayEnd.signal();
  worker.waitForThreadCompletion();
}

TEST_F(ThreaderTest, SpawnsAnObjectOnceWhenSeveralThreadsTry) {
  Event mayEnd;
  std::atomic<int> spawned = 0;
  Worker worker([&] { EXPECT_TRUE(mayEnd.wait()); });
  std::vector<std::thread> spawners;
  for (int index = 0; index < 4; ++index) {
    spawners.emplace_back([&] {
      unsigned long id = 0;
      spawned += m_threader.spawn(id, &worker, "", GPALThreadPriority(1), 0) ? 1 : 0;
    });
  }
  for (std::thread& spawner : spawners) spawner.join();
  EXPECT_EQ(spawned, 1);
  mayEnd.signal();
  worker.waitForThreadCompletion();
}

TEST_F(ThreaderTest, SpawnsAgainAfterWaiting) {
  int runs = 0;
  Worker worker([&] { ++runs; });
  SpawnAndWait(worker);
  SpawnAndWait(worker);
  EXPECT_EQ(runs, 2);
}

TEST_F(ThreaderTest, SpawnsAgainWithoutWaiting) {
  std::atomic<int> runs = 0;
  Worker worker([&] { ++runs; });
  ASSERT_TRUE(Spawn(worker));
  EXPECT_TRUE(waiting::until([&] { return Spawn(worker); }));
  worker.waitForThreadCompletion();
  EXPECT_EQ(runs, 2);
}

TEST_F(ThreaderTest, WaitsForARunningThreadInDestroy) {
  Event mayEnd;
  std::atomic<bool> ended = false;
  Worker worker([&] { ended = mayEnd.wait(); });
  ASSERT_TRUE(Spawn(worker));
  auto destroyer = std::async(std::launch::async, [this] { m_threader.destroy(m_id); });
  EXPECT_EQ(destroyer.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
  mayEnd.signal();
  EXPECT_EQ(destroyer.wait_for(waiting::kDeadline), std::future_status::ready);
  EXPECT_TRUE(ended);
}

TEST_F(ThreaderTest, IgnoresDestroyOfAJoinedThread) {
  Worker worker([] {});
  const unsigned long id = SpawnAndWait(worker);
  m_threader.destroy(id);
  m_threader.destroy(id);
}

TEST_F(ThreaderTest, LeavesALaterThreadAloneWhenAnEarlierOneIsDestroyed) {
  Event mayEnd;
  std::atomic<bool> wait = false;
  Worker worker([&] { EXPECT_TRUE(!wait || mayEnd.wait()); });
  const unsigned long former = SpawnAndWait(worker);
  wait = true;
  ASSERT_TRUE(Spawn(worker));
  m_threader.destroy(former);  // would hang if it waited for the later thread
  mayEnd.signal();
  worker.waitForThreadCompletion();
}

TEST_F(ThreaderTest, IgnoresDestroyOfAnUnknownId) {
  m_threader.destroy(0);
  m_threader.destroy(~0ul);
}

TEST_F(ThreaderTest, ReturnsAtOnceFromDestroyOnTheThreadItself) {
  Event spawned;
  bool returned = false;
  Worker worker([&] {
    EXPECT_TRUE(spawned.wait());
    m_threader.destroy(m_id);
    returned = true;
  });
  ASSERT_TRUE(Spawn(worker));
  spawned.signal();
  worker.waitForThreadCompletion();
  EXPECT_TRUE(returned);
}

TEST_F(ThreaderTest, CutsTheNameToFifteenBytes) {
  EXPECT_EQ(NameInside("push server"), "push server");
  EXPECT_EQ(NameInside("a name that is too long"), "a name that is ");
}

TEST_F(ThreaderTest, InheritsTheNameWhenItIsEmpty) {
  EXPECT_EQ(NameInside(""), nameOfThisThread());
}

TEST_F(ThreaderTest, HasOrdinaryPriorityAndType) {
  Worker worker([] {});
  EXPECT_EQ(worker.getThreadPriorityForPlatform(), 0);
  EXPECT_EQ(worker.type(), 0);
}

// The body doesn't use the object after it has started.
class Lingerer : public Threadable {
 public:
  struct Shared {
    Event began;
    Event mayEnd;
    std::atomic<bool> ended = false;
  };
  explicit Lingerer(Shared& shared) : m_shared(shared) {}
  void run() override {
    Shared& shared = m_shared;
    shared.began.signal();
    shared.ended = shared.mayEnd.wait();
  }

 private:
  Shared& m_shared;
};

TEST_F(ThreaderTest, WaitsForARunningThreadInTheDestructor) {
  Lingerer::Shared shared;
  auto lingerer = std::make_unique<Lingerer>(shared);
  ASSERT_TRUE(Spawn(*lingerer));
  ASSERT_TRUE(shared.began.wait());
  auto deleter = std::async(std::launch::async, [&] { lingerer.reset(); });
  EXPECT_EQ(deleter.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
  shared.mayEnd.signal();
  EXPECT_EQ(deleter.wait_for(waiting::kDeadline), std::future_status::ready);
  EXPECT_TRUE(shared.ended);
}

TEST_F(ThreaderTest, AllowsTheBodyToDeleteItsObject) {
  std::atomic<bool> deleted = false;
  Worker* worker = nullptr;
  Event assigned;
  worker = new Worker([&] {
    EXPECT_TRUE(assigned.wait());
    auto& report = deleted;  // the captures are deleted with the object
    delete worker;
    report = true;
  });
  ASSERT_TRUE(Spawn(*worker));
  assigned.signal();
  m_threader.destroy(m_id);
  EXPECT_TRUE(deleted);
}

}  // namespace
