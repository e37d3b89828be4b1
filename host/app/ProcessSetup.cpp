#include "host/app/ProcessSetup.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <string_view>
#include <utility>

namespace host {
namespace {

constexpr rlim_t kMaxDescriptors = 1024;

void openStandardDescriptors() {
  // open() returns the lowest free descriptor, so this fills the gaps.
  int descriptor = 0;
  do {
    descriptor = open("/dev/null", O_RDWR);
  } while (descriptor >= 0 && descriptor <= STDERR_FILENO);
  if (descriptor >= 0) close(descriptor);
}

void limitDescriptors() {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  limit.rlim_cur = std::min(kMaxDescriptors, limit.rlim_max);
  setrlimit(RLIMIT_NOFILE, &limit);
}

/// From the first stop signal to the forced end.
constexpr std::chrono::seconds kDeadline{4};

// Sent by the object to its own thread.
constexpr int kStopSignal = SIGUSR1;
constexpr int kDoneSignal = SIGUSR2;

[[noreturn]] void endNow(std::string_view message) {
  // No stdio, log or exit handlers: another thread may hold their locks.
  static_cast<void>(!write(STDERR_FILENO, message.data(), message.size()));
  _exit(kExitUnclean);
}

}  // namespace

void setUpProcess() {
  openStandardDescriptors();
  limitDescriptors();
  std::signal(SIGPIPE, SIG_IGN);
  umask(umask(022) | 022);
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  StopSignals::block();
}

sigset_t StopSignals::signals() {
  sigset_t set;
  sigemptyset(&set);
  for (const int signal : {SIGTERM, SIGINT, kStopSignal, kDoneSignal}) sigaddset(&set, signal);
  struct sigaction hangup {};
  sigaction(SIGHUP, nullptr, &hangup);
  if (hangup.sa_handler != SIG_IGN) sigaddset(&set, SIGHUP);
  return set;
}

void StopSignals::block() {
  const sigset_t set = signals();
  pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

StopSignals::StopSignals(std::function<void()> onStop)
    : m_onStop(std::move(onStop)), m_thread([this] { run(); }) {}

StopSignals::~StopSignals() {
  pthread_kill(m_thread.native_handle(), kDoneSignal);
  m_thread.join();
}

void StopSignals::stop() { pthread_kill(m_thread.native_handle(), kStopSignal); }

void StopSignals::run() {
  const sigset_t set = signals();
  int signal = 0;
  while (sigwait(&set, &signal) != 0) {
  }
  if (signal == kDoneSignal) return;
  if (signal != kStopSignal) m_onStop();
  awaitEnd(set);
}

void StopSignals::awaitEnd(const sigset_t& set) {
  const auto end = std::chrono::steady_clock::now() + kDeadline;
  while (true) {
    const auto left = std::chrono::duration_cast<std::chrono::nanoseconds>(
        end - std::chrono::steady_clock::now());
    if (left.count() <= 0)
      endNow("phone-host: the service did not end within 4 seconds; killing it\n");
    const timespec pause{static_cast<time_t>(left.count() / 1000000000),
                         static_cast<long>(left.count() % 1000000000)};
    const int signal = sigtimedwait(&set, nullptr, &pause);
    if (signal == kDoneSignal) return;
    if (signal > 0 && signal != kStopSignal)
      endNow("phone-host: got a second signal; ending at once\n");
  }
}

}  // namespace host
