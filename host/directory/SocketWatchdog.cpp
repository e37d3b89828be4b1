#include "host/directory/SocketWatchdog.h"

#include <sys/socket.h>

namespace host {

SocketWatchdog::SocketWatchdog(int socket, std::chrono::milliseconds timeout)
    : m_socket(socket),
      m_deadline(std::chrono::steady_clock::now() + timeout),
      m_thread([this] { wait(); }) {}

SocketWatchdog::~SocketWatchdog() {
  {
    const std::lock_guard<std::mutex> guard(m_mutex);
    m_done = true;
    m_changed.notify_all();
  }
  m_thread.join();
}

void SocketWatchdog::wait() {
  std::unique_lock<std::mutex> lock(m_mutex);
  if (!m_changed.wait_until(lock, m_deadline, [this] { return m_done; }))
    ::shutdown(m_socket, SHUT_RDWR);
}

}  // namespace host
