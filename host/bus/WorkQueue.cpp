#include "host/bus/WorkQueue.h"

#include <utility>

#include "host/bus/Limits.h"

namespace host {

bool WorkQueue::offer(std::unique_ptr<ServiceCall>& call) {
  const std::size_t size = call->bodySize();
  const std::lock_guard lock(m_mutex);
  const bool full = m_calls >= kMaxQueuedCalls || (m_calls > 0 && m_bytes + size > kMaxQueuedBytes);
  if (m_closed || full) return false;
  m_work.push_back({std::move(call), {}});
  ++m_calls;
  m_bytes += size;
  m_changed.notify_one();
  return true;
}

void WorkQueue::push(Task task) {
  const std::lock_guard lock(m_mutex);
  if (m_closed) return;
  m_work.push_back({nullptr, std::move(task)});
  m_changed.notify_one();
}

WorkQueue::Work WorkQueue::take() {
  std::unique_lock lock(m_mutex);
  m_changed.wait(lock, [this] { return m_closed || !m_work.empty(); });
  if (m_work.empty()) return {};
  Work work = std::move(m_work.front());
  m_work.pop_front();
  if (work.call) {
    --m_calls;
    m_bytes -= work.call->bodySize();
  }
  return work;
}

void WorkQueue::close() {
  std::deque<Work> givenUp;
  const std::lock_guard lock(m_mutex);
  m_closed = true;
  m_work.swap(givenUp);
  m_calls = 0;
  m_bytes = 0;
  m_changed.notify_all();
}

std::size_t WorkQueue::waitingCalls() const {
  const std::lock_guard lock(m_mutex);
  return m_calls;
}

}  // namespace host
