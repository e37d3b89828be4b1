#include "framework/GPALSleep.h"

#include <gtest/gtest.h>
#include <sys/time.h>

#include <atomic>
#include <chrono>
#include <climits>
#include <csignal>

namespace {

using Clock = std::chrono::steady_clock;

std::atomic<int> alarms = 0;

// Interrupts the process with a signal every 2 ms while it exists.
class Alarms {
 public:
  Alarms() {
    alarms = 0;
    struct sigaction action {};
    action.sa_handler = [](int) { ++alarms; };
    sigaction(SIGALRM, &action, &m_former);
    const itimerval often{{0, 2000}, {0, 2000}};
    setitimer(ITIMER_REAL, &often, nullptr);
  }
  ~Alarms() {
    const itimerval never{};
    setitimer(ITIMER_REAL, &never, nullptr);
    sigaction(SIGALRM, &m_former, nullptr);
  }
  Alarms(const Alarms&) = delete;
  Alarms& operator=(const Alarms&) = delete;

 private:
  struct sigaction m_former;
};

Clock::duration timeOfSleep(int milliseconds) {
  const auto begin = Clock::now();
  GPALSleep().milliSleep(milliseconds);
  return Clock::now() - begin;
}

TEST(GPALSleepTest, SleepsAtLeastTheGivenTime) {
  EXPECT_GE(timeOfSleep(50), std::chrono::milliseconds(50));
}

TEST(GPALSleepTest, SleepsTheWholeTimeWhenSignalsArrive) {
  const Alarms interrupting;
  EXPECT_GE(timeOfSleep(60), std::chrono::milliseconds(60));
  EXPECT_GT(alarms, 0);
}

TEST(GPALSleepTest, ReturnsAtOnceForZeroAndLess) {
  EXPECT_LT(timeOfSleep(0), std::chrono::minutes(1));
  EXPECT_LT(timeOfSleep(-1), std::chrono::minutes(1));
  EXPECT_LT(timeOfSleep(INT_MIN), std::chrono::minutes(1));
}

}  // namespace
