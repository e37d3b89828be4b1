#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace host {

/// Ends a connection that is waited on for too long: when the object still lives after that time,
/// its socket is shut down, so that whoever reads or writes there gets an error. For a client
/// library that has no time-out of its own, where the other side may be frozen with its connections
/// open.
///
/// The socket has to stay open for as long as the object lives. Threads: one of its own.
class SocketWatchdog {
 public:
  SocketWatchdog(int socket, std::chrono::milliseconds timeout);
  ~SocketWatchdog();
  SocketWatchdog(const SocketWatchdog&) = delete;
  SocketWatchdog& operator=(const SocketWatchdog&) = delete;

 private:
  void wait();

  const int m_socket;
  const std::chrono::steady_clock::time_point m_deadline;
  std::mutex m_mutex;
  std::condition_variable m_changed;
  bool m_done = false;  ///< Guarded by m_mutex.
  std::thread m_thread;
};

}  // namespace host
