#include "host/bus/MainLoop.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

using host::MainLoop;

TEST(MainLoopTest, RunsTasksInOrderOnItsThread) {
  MainLoop loop;
  std::string trace;
  const auto own = std::this_thread::get_id();
  std::thread other([&] {
    for (const char letter : {'a', 'b', 'c'})
      loop.post([&trace, letter, own] {
        EXPECT_EQ(std::this_thread::get_id(), own);
        trace += letter;
      });
    loop.post([&loop] { loop.quit(); });
  });
  loop.run();
  other.join();
  EXPECT_EQ(trace, "abc");
}

TEST(MainLoopTest, LetsATaskPostAnother) {
  MainLoop loop;
  bool second = false;
  loop.post([&] {
    loop.post([&] {
      second = true;
      loop.quit();
    });
  });
  loop.run();
  EXPECT_TRUE(second);
}

TEST(MainLoopTest, ReturnsAtOnceAfterQuit) {
  MainLoop loop;
  bool ran = false;
  loop.post([&] { ran = true; });
  loop.quit();
  loop.run();
  EXPECT_FALSE(ran);
}

TEST(MainLoopTest, LetsSeveralThreadsPost) {
  MainLoop loop;
  int count = 0;
  const auto post = [&] {
    for (int i = 0; i < 1000; ++i)
      loop.post([&] {
        if (++count == 2000) loop.quit();
      });
  };
  std::thread first(post);
  std::thread second(post);
  loop.run();
  first.join();
  second.join();
  EXPECT_EQ(count, 2000);
}

TEST(MainLoopTest, DropsTasksThatHaveNotRun) {
  const auto alive = std::make_shared<int>(0);
  {
    MainLoop loop;
    loop.post([alive] { FAIL(); });
    EXPECT_EQ(alive.use_count(), 2);
  }
  EXPECT_EQ(alive.use_count(), 1);
}

}  // namespace
