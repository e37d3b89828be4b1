#pragma once

#include <csignal>
#include <functional>
#include <thread>

namespace host {

/// Waits for the signals that ask the telephone to stop (SIGTERM, SIGINT, and SIGHUP unless it was
/// ignored at the start, as under nohup), on a thread of its own, and sees to it that the stop has
/// an end: when the process is still there after the deadline, or a second signal comes, it is
/// ended without ceremony.
///
/// Threads: `block` belongs to the main thread before any other is started; the object's life to
/// the main thread.
class StopSignals {
 public:
  /// Blocks the signals in this thread and all that it starts.
  static void block();

  /// `onStop` is called once, on the object's thread, at the first signal.
  explicit StopSignals(std::function<void()> onStop);
  /// The stop came to its end.
  ~StopSignals();
  StopSignals(const StopSignals&) = delete;
  StopSignals& operator=(const StopSignals&) = delete;

  /// Lets the deadline run, as a signal would.
  void stop();

 private:
  static sigset_t signals();
  void run();
  void awaitEnd(const sigset_t& set);

  const std::function<void()> m_onStop;
  std::thread m_thread;
};

}  // namespace host
