#include <sys/time.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <thread>

#include "tests/radio/Process.h"
#include "tests/radio/RadioTest.h"

namespace radiotest {
namespace {

// Opens and closes a listener. Async-signal-safe.
void listenOnce() {
  const int kept = errno;
  const int fd = socket(AF_BLUETOOTH, SOCK_STREAM | SOCK_CLOEXEC, BTPROTO_RFCOMM);
  sockaddr_rc any = {};
  any.rc_family = AF_BLUETOOTH;
  if (bind(fd, reinterpret_cast<sockaddr*>(&any), sizeof any) == 0) listen(fd, 1);
  close(fd);
  errno = kept;
}

class ConcurrencyTest : public RadioTest {};

// A child forked while another thread allocates may find the thread sanitizer's allocator locked
// for ever.
#if defined(__SANITIZE_THREAD__)
#define PHONE_THREAD_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define PHONE_THREAD_SANITIZER 1
#endif
#endif

TEST_F(ConcurrencyTest, AcceptsCallsOfManyThreads) {
  constexpr int kThreads = 4;
  constexpr int kCalls = 50;
  const Descriptor listener = Listener(4, kThreads);
  std::vector<std::thread> callers;
  for (int i = 0; i < kThreads; ++i) {
    callers.emplace_back([] {
      for (int call = 0; call < kCalls; ++call) Send(CallSoon(kPhone, 4), "card");
    });
  }
  for (int call = 0; call < kThreads * kCalls; ++call) {
    const Descriptor link = Accept(listener);
    EXPECT_EQ(Receive(link), "card");
    ExpectReset(link);
  }
  for (std::thread& caller : callers) caller.join();
}

#ifndef PHONE_THREAD_SANITIZER
TEST_F(ConcurrencyTest, ForkedChildCanListenWhileAThreadListens) {
  std::atomic<bool> done{false};
  std::thread busy([&] {
    while (!done) {
      listenOnce();
      // The folder's lock is polled, so a child would hardly ever find it free without a pause.
      std::this_thread::sleep_for(std::chrono::microseconds(300));
    }
  });
  for (int i = 0; i < 50; ++i) {
    Process::fork(kPeer, [] { Listener(0); }).ExpectSuccess();
  }
  done = true;
  busy.join();
}
#endif

TEST_F(ConcurrencyTest, SignalHandlerCanListenWhileTheProgramDoes) {
  struct sigaction action = {};
  action.sa_handler = [](int) { listenOnce(); };
  action.sa_flags = SA_RESTART;
  struct sigaction before = {};
  ASSERT_EQ(sigaction(SIGALRM, &action, &before), 0);
  itimerval often = {{0, 500}, {0, 500}};
  setitimer(ITIMER_REAL, &often, nullptr);
  for (int i = 0; i < 500; ++i) Listener(0);
  const itimerval never = {};
  setitimer(ITIMER_REAL, &never, nullptr);
  sigaction(SIGALRM, &before, nullptr);
}

TEST_F(ConcurrencyTest, GivesEachProcessItsOwnChannel) {
  std::vector<Process> phones;
  for (int i = 0; i < 10; ++i) {
    phones.push_back(Process::fork(kPhone, [] {
      for (int round = 0; round < 30; ++round) {
        const Descriptor listener = Listener(0);
        Send(Call(listener), "mine");
        EXPECT_EQ(Receive(Accept(listener)), "mine");
      }
    }));
  }
  for (Process& phone : phones) phone.ExpectSuccess();
}

}  // namespace
}  // namespace radiotest
