#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>

#include "host/bus/ServiceCall.h"

namespace host {

/// What waits for the framework thread, in the order in which it came: calls from the bus, of which
/// it takes a bounded number and size, and errands of the host itself, which are never refused.
///
/// Threads: any.
class WorkQueue {
 public:
  using Task = std::function<void()>;
  /// Exactly one of the two is set; none when the queue is closed.
  struct Work {
    std::unique_ptr<ServiceCall> call;
    Task task;
  };

  WorkQueue() = default;
  WorkQueue(const WorkQueue&) = delete;
  WorkQueue& operator=(const WorkQueue&) = delete;

  /// Returns false, and leaves the call with the caller, when the queue is full or closed.
  bool offer(std::unique_ptr<ServiceCall>& call);
  /// Does nothing when the queue is closed.
  void push(Task task);
  /// Waits for the next piece of work; returns an empty one when the queue was closed.
  Work take();
  /// Ends it: nothing more is taken in, what waits is given up, and `take` returns at once.
  void close();

  /// How many calls wait.
  [[nodiscard]] std::size_t waitingCalls() const;

 private:
  mutable std::mutex m_mutex;
  std::condition_variable m_changed;
  // Guarded by m_mutex:
  std::deque<Work> m_work;
  std::size_t m_calls = 0;
  std::size_t m_bytes = 0;
  bool m_closed = false;
};

}  // namespace host
