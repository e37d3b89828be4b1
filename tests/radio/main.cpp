// Restarts itself with the radio preloaded, so that the tests call the interposed functions.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

int main(int argc, char** argv) {
  const char* preloaded = std::getenv("LD_PRELOAD");
  const std::string others = preloaded == nullptr ? "" : preloaded;
  if (others.find(RADIO_LIBRARY) == std::string::npos) {
    const std::string all = others.empty() ? RADIO_LIBRARY : RADIO_LIBRARY ":" + others;
    setenv("LD_PRELOAD", all.c_str(), 1);
    execv("/proc/self/exe", argv);
    std::perror("cannot restart with the radio");
    return 125;
  }
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
