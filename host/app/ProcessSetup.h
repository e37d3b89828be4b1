#pragma once

#include <csignal>
#include <functional>
#include <thread>

namespace host {

/// Exit codes of phone-host, as documented by --help.
inline constexpr int kExitStopped = 0;  ///< stopped on request
inline constexpr int kExitNoStart = 1;  ///< could not start
inline constexpr int kExitUsage = 2;    ///< wrong command line
inline constexpr int kExitUnclean = 3;  ///< stopped on request, but the service did not end in time

/// Establishes what the host relies on, whatever environment it was started from: descriptors 0 to
/// 2 are open, because the service can't use a file with descriptor 0; at most 1024 descriptors,
/// because the OBEX library uses `select`; SIGPIPE ignored; files not writable for others; standard
/// output line-buffered; stop signals blocked in all threads. Call first in `main`.
void setUpProcess();

/// Waits for the stop signals on a thread of its own: SIGTERM, SIGINT, and SIGHUP unless it was
/// ignored at the start (nohup). Ends the process with `kExitUnclean` if it still runs four seconds
/// after the first signal, or at a second one.
///
/// Threads: create and destroy it on the main thread.
class StopSignals {
 public:
  /// Blocks the signals in this thread and those it creates. Call before any thread is created.
  static void block();

  /// `onStop` is called once, on the object's thread, at the first signal.
  explicit StopSignals(std::function<void()> onStop);
  /// Cancels the deadline: the process has stopped in time.
  ~StopSignals();
  StopSignals(const StopSignals&) = delete;
  StopSignals& operator=(const StopSignals&) = delete;

  /// Starts the deadline, as a signal does, without calling `onStop`.
  void stop();

 private:
  static sigset_t signals();
  void run();
  void awaitEnd(const sigset_t& set);

  const std::function<void()> m_onStop;
  std::thread m_thread;
};

}  // namespace host
