#include "host/app/StopSignals.h"

#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <ctime>
#include <string_view>
#include <utility>

#include "host/app/ExitCodes.h"

namespace host {
namespace {

/// What remains of the five seconds in which the telephone promises to be gone is for the rest.
constexpr std::chrono::seconds kDeadline{4};

// Sent by the object itself to its thread.
constexpr int kStopSignal = SIGUSR1;
constexpr int kDoneSignal = SIGUSR2;

[[noreturn]] void endNow(std::string_view sentence) {
  // Nothing that another thread may hold: no stdio, no log, no exit handlers.
  static_cast<void>(!write(STDERR_FILENO, sentence.data(), sentence.size()));
  _exit(kExitUnclean);
}

}  // namespace

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
      endNow("phone-host: the service did not end within 4 seconds; ending without it\n");
    const timespec pause{static_cast<time_t>(left.count() / 1000000000),
                         static_cast<long>(left.count() % 1000000000)};
    const int signal = sigtimedwait(&set, nullptr, &pause);
    if (signal == kDoneSignal) return;
    if (signal > 0 && signal != kStopSignal)
      endNow("phone-host: asked to stop a second time; ending at once\n");
  }
}

}  // namespace host
