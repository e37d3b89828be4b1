#include "framework/src/LogThrottle.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using framework_detail::LogThrottle;
using std::chrono::milliseconds;

// Time stands still unless the test moves it.
class LogThrottleTest : public testing::Test {
 protected:
  static constexpr int kLimit = 10;

  // How many of these lines of one place are written.
  int Log(int count, const std::string& source = "a.cpp", int line = 1,
          const std::string& component = "c") {
    int written = 0;
    for (int index = 0; index < count; ++index) {
      written += m_throttle.admit({component, source, kLogError, line, "text"}, m_now) ? 1 : 0;
    }
    return written;
  }
  void Pass(milliseconds time) { m_now += time; }
  void ExpectDue(std::uint64_t count) {
    const auto due = m_throttle.takeDue(m_now);
    ASSERT_EQ(due.size(), 1u);
    EXPECT_EQ(due[0].count, count);
  }
  void ExpectNothingDue() { EXPECT_TRUE(m_throttle.takeDue(m_now).empty()); }

  LogThrottle m_throttle{kLimit};
  LogThrottle::Time m_now{milliseconds(5000)};
};

TEST_F(LogThrottleTest, AsManyLinesAsTheLimitAreWritten) {
  EXPECT_EQ(Log(kLimit), kLimit);
  Pass(milliseconds(2000));
  ExpectNothingDue();
}

TEST_F(LogThrottleTest, LinesBeyondTheLimitAreCounted) {
  EXPECT_EQ(Log(kLimit + 5), kLimit);
  Pass(milliseconds(1000));
  ExpectDue(5);
}

TEST_F(LogThrottleTest, NothingIsToldBeforeTheSecondIsOver) {
  Log(kLimit + 5);
  Pass(milliseconds(999));
  ExpectNothingDue();
  Pass(milliseconds(1));
  ExpectDue(5);
}

TEST_F(LogThrottleTest, ASummaryIsToldOnce) {
  Log(kLimit + 5);
  Pass(milliseconds(1000));
  ExpectDue(5);
  ExpectNothingDue();
}

TEST_F(LogThrottleTest, ANewSecondHasLinesOfItsOwn) {
  Log(kLimit + 5);
  Pass(milliseconds(1000));
  ExpectDue(5);
  EXPECT_EQ(Log(kLimit + 7), kLimit);
  Pass(milliseconds(1000));
  ExpectDue(7);
}

TEST_F(LogThrottleTest, AfterAQuietSecondTheLimitHoldsAgain) {
  EXPECT_EQ(Log(1), 1);
  Pass(milliseconds(1500));
  EXPECT_EQ(Log(kLimit + 5), kLimit);
  Pass(milliseconds(999));
  ExpectNothingDue();
}

TEST_F(LogThrottleTest, LinesWithinTheLimitDoNotAddUpOverSeconds) {
  for (int second = 0; second < 5; ++second) {
    EXPECT_EQ(Log(kLimit), kLimit);
    Pass(milliseconds(1000));
    ExpectNothingDue();
  }
}

TEST_F(LogThrottleTest, PlacesDifferInComponentSourceOrLine) {
  Log(kLimit + 1);
  EXPECT_EQ(Log(1, "b.cpp"), 1);
  EXPECT_EQ(Log(1, "a.cpp", 2), 1);
  EXPECT_EQ(Log(1, "a.cpp", 1, "d"), 1);
  EXPECT_EQ(Log(1), 0);
}

TEST_F(LogThrottleTest, ASummaryNamesThePlaceAndTheLastLevel) {
  Log(kLimit + 1, "b.cpp", 7, "comp");
  m_throttle.admit({"comp", "b.cpp", kLogTrace, 7, ""}, m_now);
  const auto all = m_throttle.takeAll();
  ASSERT_EQ(all.size(), 1u);
  EXPECT_EQ(all[0].component, "comp");
  EXPECT_EQ(all[0].source, "b.cpp");
  EXPECT_EQ(all[0].line, 7);
  EXPECT_EQ(all[0].level, kLogTrace);
  EXPECT_EQ(all[0].count, 2u);
}

TEST_F(LogThrottleTest, TakingAllDoesNotWaitForTheSecond) {
  Log(kLimit + 5);
  Log(kLimit + 6, "b.cpp");
  EXPECT_EQ(m_throttle.takeAll().size(), 2u);
  EXPECT_TRUE(m_throttle.takeAll().empty());
}

TEST_F(LogThrottleTest, WhatIsDueNextIsTheEndOfTheEarliestSecond) {
  EXPECT_EQ(m_throttle.nextDue(), LogThrottle::Time::max());
  Log(kLimit + 1);
  const auto first = m_now + milliseconds(1000);
  Pass(milliseconds(300));
  Log(kLimit + 1, "b.cpp");
  EXPECT_EQ(m_throttle.nextDue(), first);
  m_now = first;
  ExpectDue(1);
  EXPECT_EQ(m_throttle.nextDue(), first + milliseconds(300));
}

TEST_F(LogThrottleTest, PlacesBeyondTheBoundShareOneCount) {
  constexpr int kPlaces = static_cast<int>(LogThrottle::kMaxPlaces) + 500;
  int written = 0;
  for (int line = 0; line < kPlaces; ++line) written += Log(1, "a.cpp", line);
  EXPECT_EQ(written, static_cast<int>(LogThrottle::kMaxPlaces) + kLimit);
  const auto all = m_throttle.takeAll();
  ASSERT_EQ(all.size(), 1u);
  EXPECT_EQ(all[0].source, "(other places)");
  EXPECT_EQ(all[0].count, 500u - kLimit);
}

TEST_F(LogThrottleTest, PlacesThatHaveGoneQuietMakeRoom) {
  for (int line = 0; line < 5000; ++line) Log(1, "a.cpp", line);
  Pass(milliseconds(1000));
  m_throttle.takeDue(m_now);
  EXPECT_EQ(Log(kLimit + 1, "b.cpp"), kLimit);
  EXPECT_EQ(m_throttle.takeAll().at(0).source, "b.cpp");
}

TEST_F(LogThrottleTest, LongNamesAreKeptInPart) {
  Log(kLimit + 1, std::string(1000000, 'x'));
  EXPECT_EQ(m_throttle.takeAll().at(0).source, std::string(LogThrottle::kMaxName, 'x'));
}

}  // namespace
