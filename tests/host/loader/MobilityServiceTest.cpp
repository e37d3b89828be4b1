#include "host/loader/MobilityService.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

#include "tests/support/LogRecorder.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(MobilityServiceTest, ListsTheNewestFirst) {
  host::MobilityService mobility;
  EXPECT_TRUE(mobility.registerFile("/data/images/photoA.jpeg"));
  EXPECT_TRUE(mobility.registerFile("/data/images/photoB.jpeg"));
  EXPECT_THAT(mobility.recentFiles(),
              ElementsAre("/data/images/photoB.jpeg", "/data/images/photoA.jpeg"));
}

TEST(MobilityServiceTest, ListsAFileWrittenAgainOnce) {
  host::MobilityService mobility;
  for (const char* path : {"a", "b", "a"}) mobility.registerFile(path);
  EXPECT_THAT(mobility.recentFiles(), ElementsAre("a", "b"));
  EXPECT_EQ(mobility.count(), 3U);
}

TEST(MobilityServiceTest, RefusesAnEmptyPath) {
  host::MobilityService mobility;
  EXPECT_FALSE(mobility.registerFile(""));
  EXPECT_THAT(mobility.recentFiles(), IsEmpty());
  EXPECT_EQ(mobility.count(), 0U);
}

TEST(MobilityServiceTest, ForgetsTheOldestBeyondItsLimit) {
  host::MobilityService mobility;
  for (int i = 0; i < 40; ++i) mobility.registerFile(std::to_string(i));
  const auto files = mobility.recentFiles();
  ASSERT_EQ(files.size(), host::MobilityService::kRemembered);
  EXPECT_EQ(files.front(), "39");
  EXPECT_EQ(files.back(), "8");
  EXPECT_EQ(mobility.count(), 40U);
}

TEST(MobilityServiceTest, LogsEachFile) {
  const test::LogRecorder log;
  host::MobilityService().registerFile("/data/images/photo.png");
  EXPECT_TRUE(log.has("file written: /data/images/photo.png"));
}

TEST(MobilityServiceTest, IsFoundThroughExecutable) {
  host::MobilityService mobility;
  Executable* executable = &mobility;
  EXPECT_EQ(dynamic_cast<MobilityServiceIfc*>(executable), &mobility);
}

TEST(MobilityServiceTest, AcceptsFilesFromSeveralThreads) {
  host::MobilityService mobility;
  const auto work = [&mobility] {
    for (int i = 0; i < 1000; ++i) mobility.registerFile(std::to_string(i % 50));
  };
  std::thread first(work);
  std::thread second(work);
  first.join();
  second.join();
  EXPECT_EQ(mobility.count(), 2000U);
  EXPECT_EQ(mobility.recentFiles().size(), host::MobilityService::kRemembered);
}

}  // namespace
