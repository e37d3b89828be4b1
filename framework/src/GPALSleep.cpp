#include "framework/GPALSleep.h"

#include <chrono>
#include <thread>

void GPALSleep::milliSleep(int milliseconds) {
  if (milliseconds <= 0) return;
  std::this_thread::sleep_until(std::chrono::steady_clock::now() +
                                std::chrono::milliseconds(milliseconds));
}
