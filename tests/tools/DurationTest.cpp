#include "tools/phonectl/Duration.h"

#include <gtest/gtest.h>

using phonectl::durationText;
using phonectl::parseDuration;

TEST(Duration, AcceptsSecondsMinutesAndHours) {
  EXPECT_EQ(parseDuration("30s"), 30);
  EXPECT_EQ(parseDuration("3m"), 180);
  EXPECT_EQ(parseDuration("24h"), 86400);
}

TEST(Duration, RejectsEverythingElse) {
  for (const char* text : {"", "3", "0s", "-3m", "25h", "3mm", "99999999999h", "1.5h", "always"})
    EXPECT_FALSE(parseDuration(text)) << text;
}

TEST(Duration, IsShownInTheLargestUnit) {
  EXPECT_EQ(durationText(1), "1 second");
  EXPECT_EQ(durationText(90), "90 seconds");
  EXPECT_EQ(durationText(180), "3 minutes");
  EXPECT_EQ(durationText(3600), "1 hour");
}
