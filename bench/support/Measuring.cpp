#include "bench/support/Measuring.h"

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <filesystem>
#include <iomanip>
#include <iostream>
#include <stdexcept>

namespace bench {

namespace {

constexpr double kDefaultWarm = 0.2;
constexpr double kDefaultSeconds = 0.5;
constexpr int kFailed = 1;
constexpr int kUsage = 2;

double secondsFrom(const char* variable, double otherwise) {
  const char* const text = std::getenv(variable);
  if (text == nullptr || *text == '\0') return otherwise;
  char* end = nullptr;
  const double seconds = std::strtod(text, &end);
  if (*end == '\0' && std::isfinite(seconds) && seconds >= 0) return seconds;
  throw std::runtime_error(std::string(variable) + " must be a number of seconds, not \"" + text +
                           "\"");
}

double secondsOf(clockid_t clock) {
  timespec time{};
  clock_gettime(clock, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

double elapsed() { return secondsOf(CLOCK_MONOTONIC); }

}  // namespace

void measure(std::size_t cardsInPass, const Pass& pass) {
  const double warm = secondsFrom("BENCH_WARM", kDefaultWarm);
  const double wanted = secondsFrom("BENCH_SECONDS", kDefaultSeconds);
  for (const double begin = elapsed(); elapsed() - begin < warm;) pass();

  std::size_t cards = 0;
  std::size_t bytes = 0;
  const double processor = secondsOf(CLOCK_PROCESS_CPUTIME_ID);
  const double begin = elapsed();
  double seconds = 0;
  do {
    bytes += pass();
    cards += cardsInPass;
    seconds = elapsed() - begin;
  } while (seconds < wanted);
  const double used = secondsOf(CLOCK_PROCESS_CPUTIME_ID) - processor;
  std::cout << "cards " << cards << std::fixed << std::setprecision(6) << " seconds " << seconds
            << " bytes " << bytes << " cpu " << used << std::endl;
  if (!std::cout) throw std::runtime_error("can't write to standard output");
}

int runOnFolder(int argc, char** argv, const std::function<void(const std::string&)>& work) {
  const std::string name = argc > 0 ? std::filesystem::path(argv[0]).filename().string() : "bench";
  if (argc != 2 || argv[1][0] == '-') {
    std::cerr << "usage: " << name << " DIR" << std::endl;
    return kUsage;
  }
  try {
    work(argv[1]);
    return 0;
  } catch (const std::exception& error) {
    std::cerr << name << ": " << error.what() << std::endl;
    return kFailed;
  }
}

}  // namespace bench
