#include "tools/phonectl/Output.h"

#include <gtest/gtest.h>

using phonectl::Failure;

TEST(Failure, AppendsTheRemedyAsASentence) {
  const Failure failure(phonectl::kNotRunning, "the phone isn't running",
                        "start it with: phone-host");
  EXPECT_STREQ(failure.what(), "the phone isn't running. Start it with: phone-host");
  EXPECT_EQ(failure.sentence(), "the phone isn't running");
  EXPECT_EQ(failure.remedy(), "start it with: phone-host");
}

TEST(Failure, OmitsAnUnknownRemedy) {
  const Failure failure(phonectl::kFailed, "it didn't work");
  EXPECT_STREQ(failure.what(), "it didn't work");
  EXPECT_EQ(failure.remedy(), "");
}
