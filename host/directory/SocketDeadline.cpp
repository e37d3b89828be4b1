#include "host/directory/SocketDeadline.h"

#include <sys/socket.h>

namespace host {

SocketDeadline::SocketDeadline(int socket, std::chrono::milliseconds patience)
    : m_socket(socket),
      m_deadline(std::chrono::steady_clock::now() + patience),
      m_thread([this] { wait(); }) {}

SocketDeadline::~SocketDeadline() {
  {
    const std::lock_guard<std::mutex> guard(m_mutex);
    m_done = true;
    m_changed.notify_all();
  }
  m_thread.join();
}

void SocketDeadline::wait() {
  std::unique_lock<std::mutex> lock(m_mutex);
  if (!m_changed.wait_until(lock, m_deadline, [this] { return m_done; }))
    ::shutdown(m_socket, SHUT_RDWR);
}

}  // namespace host
