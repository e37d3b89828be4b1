#include "dbus/Backoff.h"

#include <gtest/gtest.h>

TEST(Backoff, DoublesEachPauseUpToTheLongest) {
  dbus::Backoff backoff(std::chrono::milliseconds(250), std::chrono::seconds(1));
  for (const unsigned pause : {250U, 500U, 1000U, 1000U}) EXPECT_EQ(backoff.next(), pause);
}

TEST(Backoff, BeginsAgainAfterAReset) {
  dbus::Backoff backoff(std::chrono::seconds(1), std::chrono::seconds(60));
  backoff.next();
  backoff.reset();
  EXPECT_EQ(backoff.next(), 1000U);
}

TEST(Backoff, NeverOverflows) {
  dbus::Backoff backoff(std::chrono::seconds(2), std::chrono::minutes(5));
  for (int i = 0; i < 100; ++i) backoff.next();
  EXPECT_EQ(backoff.next(), 300000U);
}
