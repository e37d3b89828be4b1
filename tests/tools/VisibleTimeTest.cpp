#include "tools/phonectl/VisibleTime.h"

#include <gtest/gtest.h>

using phonectl::shownTime;
using phonectl::visibleTime;

TEST(VisibleTime, KnowsSecondsMinutesAndHours) {
  EXPECT_EQ(visibleTime("30s"), 30);
  EXPECT_EQ(visibleTime("3m"), 180);
  EXPECT_EQ(visibleTime("24h"), 86400);
  EXPECT_EQ(visibleTime("always"), -1);
}

TEST(VisibleTime, TakesNothingElse) {
  for (const char* text : {"", "3", "m", "0s", "-3m", "25h", "3 m", "3mm", "99999999999h", "1.5h"})
    EXPECT_FALSE(visibleTime(text)) << text;
}

TEST(VisibleTime, IsShownInTheLargestUnit) {
  EXPECT_EQ(shownTime(1), "1 second");
  EXPECT_EQ(shownTime(90), "90 seconds");
  EXPECT_EQ(shownTime(180), "3 minutes");
  EXPECT_EQ(shownTime(3600), "1 hour");
}
