#include "framework/src/LogThrottle.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using framework_detail::LogThrottle;
using std::chrono::milliseconds;
using std::chrono::seconds;

// The clock only moves when the test moves it.
class LogThrottleTest : public testing::Test {
 protected:
  static constexpr int kLimit = 10;

  // Logs lines of one place and returns how many are written.
  int Log(int count, const std::string& source = "a.cpp", int line = 1,
          const std::string& component = "c") {
    int written = 0;
    for (int index = 0; index < count; ++index) {
      written += m_throttle.admit({component, source, kLogError, line, "text"}, m_now) ? 1 : 0;
    }
    return written;
  }
  void Pass(milliseconds time) { m_now += time; }
  // Logs every 100 ms for a while, as LogOutput does: what is due is taken before each line.
  int LogEvery100ms(seconds time, int linesAtATime) {
    int written = 0;
    for (const LogThrottle::Time end = m_now + time; m_now < end; Pass(milliseconds(100))) {
      Take();
      written += Log(linesAtATime);
    }
    return written;
  }
  void Take() {
    for (const auto& summary : m_throttle.takeDue(m_now)) {
      ++m_summaries;
      m_counted += summary.count;
    }
  }
  void ExpectDue(std::uint64_t count, seconds period = seconds(1)) {
    const auto due = m_throttle.takeDue(m_now);
    ASSERT_EQ(due.size(), 1u);
    EXPECT_EQ(due[0].count, count);
    EXPECT_EQ(due[0].period, period);
  }
  void ExpectNothingDue() { EXPECT_TRUE(m_throttle.takeDue(m_now).empty()); }

  LogThrottle m_throttle{kLimit};
  LogThrottle::Time m_now{seconds(5000)};
  int m_summaries = 0;
  std::uint64_t m_counted = 0;
};

TEST_F(LogThrottleTest, WritesLinesUpToTheLimit) {
  EXPECT_EQ(Log(kLimit), kLimit);
  Pass(seconds(100));
  ExpectNothingDue();
}

TEST_F(LogThrottleTest, ReportsFurtherLinesAfterTheFirstSecond) {
  EXPECT_EQ(Log(kLimit + 5), kLimit);
  Pass(milliseconds(999));
  ExpectNothingDue();
  Pass(milliseconds(1));
  ExpectDue(5);
}

TEST_F(LogThrottleTest, ReportsACountOnce) {
  Log(kLimit + 5);
  Pass(seconds(1));
  ExpectDue(5);
  Pass(seconds(100));
  ExpectNothingDue();
}

TEST_F(LogThrottleTest, WritesALimitOfLinesEverySecond) {
  for (int second = 0; second < 5; ++second) {
    EXPECT_EQ(Log(kLimit), kLimit);
    Pass(seconds(1));
    ExpectNothingDue();
  }
}

TEST_F(LogThrottleTest, StartsANewSecondWithTheFirstLineAfterAPause) {
  EXPECT_EQ(Log(1), 1);
  Pass(milliseconds(1500));
  EXPECT_EQ(Log(kLimit + 5), kLimit);
  Pass(milliseconds(999));
  ExpectNothingDue();
}

TEST_F(LogThrottleTest, OnlyCountsTheLinesOfAFloodingPlace) {
  Log(kLimit + 1);
  Pass(seconds(1));
  ExpectDue(1);
  EXPECT_EQ(Log(kLimit + 7), 0);
}

TEST_F(LogThrottleTest, ReportsAFloodingPlaceEveryMinute) {
  Log(kLimit + 1);
  Pass(seconds(1));
  ExpectDue(1);
  for (int second = 0; second < 59; ++second) {
    Log(200);
    Pass(seconds(1));
    ExpectNothingDue();
  }
  Log(200);
  Pass(seconds(1));
  ExpectDue(60 * 200, seconds(60));
}

TEST_F(LogThrottleTest, WritesTheFirstLinesAndASummaryAMinuteOfAnEndlessFlood) {
  EXPECT_EQ(LogEvery100ms(seconds(3600), 20), kLimit);
  EXPECT_EQ(m_summaries, 60);
}

TEST_F(LogThrottleTest, CountsEveryLineThatIsNotWritten) {
  const int written = LogEvery100ms(seconds(90), 20) + LogEvery100ms(seconds(30), 1) +
                      LogEvery100ms(seconds(90), 3);
  Pass(seconds(60));
  Take();
  EXPECT_EQ(static_cast<std::uint64_t>(written) + m_counted, 90u * 200 + 30u * 10 + 90u * 30);
}

TEST_F(LogThrottleTest, WritesLinesAgainOnceThePlaceHasBeenCalmForTenSeconds) {
  LogEvery100ms(seconds(5), 20);
  EXPECT_EQ(LogEvery100ms(seconds(9), 1), 0);
  EXPECT_EQ(LogEvery100ms(seconds(10), 1), 90 + 1);
}

TEST_F(LogThrottleTest, ReportsTheRestOfAFloodBeforeItWritesLinesAgain) {
  LogEvery100ms(seconds(5), 20);
  Pass(seconds(10));
  ExpectDue(4 * 200, seconds(14));
  EXPECT_EQ(Log(1), 1);
}

TEST_F(LogThrottleTest, StaysQuietWhileAPlaceFloodsEveryFewSeconds) {
  Log(kLimit + 1);
  for (int burst = 0; burst < 10; ++burst) {
    Pass(milliseconds(9900));
    Take();
    EXPECT_EQ(Log(kLimit + 1), 0);
  }
  EXPECT_EQ(m_summaries, 2);
}

TEST_F(LogThrottleTest, TellsPlacesApartByComponentSourceAndLine) {
  Log(kLimit + 1);
  EXPECT_EQ(Log(1, "b.cpp"), 1);
  EXPECT_EQ(Log(1, "a.cpp", 2), 1);
  EXPECT_EQ(Log(1, "a.cpp", 1, "d"), 1);
  EXPECT_EQ(Log(1), 0);
}

TEST_F(LogThrottleTest, NamesThePlaceAndTheLastLevelInASummary) {
  Log(kLimit + 1, "b.cpp", 7, "comp");
  m_throttle.admit({"comp", "b.cpp", kLogTrace, 7, ""}, m_now);
  const auto all = m_throttle.takeAll(m_now + seconds(1));
  ASSERT_EQ(all.size(), 1u);
  EXPECT_EQ(all[0].component, "comp");
  EXPECT_EQ(all[0].source, "b.cpp");
  EXPECT_EQ(all[0].line, 7);
  EXPECT_EQ(all[0].level, kLogTrace);
  EXPECT_EQ(all[0].count, 2u);
}

TEST_F(LogThrottleTest, ReportsEverythingAtOnceWhenAllIsTaken) {
  Log(kLimit + 5);
  Log(kLimit + 6, "b.cpp");
  EXPECT_EQ(m_throttle.takeAll(m_now).size(), 2u);
  EXPECT_TRUE(m_throttle.takeAll(m_now).empty());
}

TEST_F(LogThrottleTest, TellsWhenTheNextSummaryIsDue) {
  EXPECT_EQ(m_throttle.nextDue(), LogThrottle::Time::max());
  Log(kLimit + 1);
  const auto first = m_now + seconds(1);
  Pass(milliseconds(300));
  Log(kLimit + 1, "b.cpp");
  EXPECT_EQ(m_throttle.nextDue(), first);
  m_now = first;
  ExpectDue(1);
  EXPECT_EQ(m_throttle.nextDue(), first + milliseconds(300));
}

TEST_F(LogThrottleTest, HasASummaryDueWhenAPlaceBecomesCalm) {
  Log(kLimit + 1);
  Pass(seconds(1));
  ExpectDue(1);
  Log(kLimit + 1);
  EXPECT_LE(m_throttle.nextDue(), m_now + LogThrottle::kCalmAfter);
  Pass(LogThrottle::kCalmAfter - milliseconds(1));
  ExpectNothingDue();
  Pass(milliseconds(1));
  ExpectDue(kLimit + 1, LogThrottle::kCalmAfter);
}

TEST_F(LogThrottleTest, SharesOneLimitAmongPlacesBeyondTheMaximum) {
  constexpr int kPlaces = static_cast<int>(LogThrottle::kMaxPlaces) + 500;
  int written = 0;
  for (int line = 0; line < kPlaces; ++line) written += Log(1, "a.cpp", line);
  EXPECT_EQ(written, static_cast<int>(LogThrottle::kMaxPlaces) + kLimit);
  const auto all = m_throttle.takeAll(m_now);
  ASSERT_EQ(all.size(), 1u);
  EXPECT_EQ(all[0].source, "(other places)");
  EXPECT_EQ(all[0].count, 500u - kLimit);
}

TEST_F(LogThrottleTest, ForgetsQuietPlacesWhenItNeedsRoom) {
  for (int line = 0; line < 5000; ++line) Log(1, "a.cpp", line);
  Pass(seconds(1));
  Take();
  EXPECT_EQ(Log(kLimit + 1, "b.cpp"), kLimit);
  EXPECT_EQ(m_throttle.takeAll(m_now).at(0).source, "b.cpp");
}

TEST_F(LogThrottleTest, RemembersFloodingPlacesWhenItNeedsRoom) {
  Log(kLimit + 1);
  Pass(seconds(1));
  Take();
  for (int line = 1; line < static_cast<int>(LogThrottle::kMaxPlaces); ++line)
    Log(1, "b.cpp", line);
  Pass(seconds(1));
  EXPECT_EQ(Log(1, "c.cpp"), 1);
  EXPECT_EQ(Log(1), 0);
}

TEST_F(LogThrottleTest, CutsLongNames) {
  Log(kLimit + 1, std::string(1000000, 'x'));
  EXPECT_EQ(m_throttle.takeAll(m_now).at(0).source, std::string(LogThrottle::kMaxName, 'x'));
}

}  // namespace
