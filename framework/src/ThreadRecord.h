#pragma once

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <unordered_map>

class Threadable;

namespace framework_detail {

/// One thread, from the moment its spawn is tried until it has been joined. It is kept apart from
/// the `Threadable`, because whoever waits for the thread may find the object deleted as soon as
/// another waiter has returned.
///
/// Threads: any thread may call.
struct ThreadRecord {
  explicit ThreadRecord(unsigned long number) : id(number) {}

  /// Starts the thread. Returns false when the system refuses it. Called once.
  bool start(std::shared_ptr<ThreadRecord> self, Threadable& threadable, const std::string& name);
  /// Returns when the thread has been joined, by this caller or by another; at once when it never
  /// started. Not for the thread itself.
  void join();
  /// Whether the body has returned, or never began: the object may be given another thread.
  [[nodiscard]] bool isOver() const { return m_over.load(std::memory_order_acquire); }

  const unsigned long id;

 private:
  enum class State { kStarting, kStarted, kJoining, kDone };

  void runBody(Threadable& threadable, const std::string& name);

  std::atomic<bool> m_over{false};
  std::mutex m_mutex;
  std::condition_variable m_changed;
  State m_state = State::kStarting;  // guarded by m_mutex
  std::thread m_thread;              // touched by start, then by the one who made it kJoining
};

/// Every thread of the process that was spawned and not yet joined, by its id.
///
/// Threads: any thread may call.
class ThreadRegistry {
 public:
  /// Never destroyed: threads may outlive the end of main.
  static ThreadRegistry& instance();

  /// Makes a record for a new thread of `slot`'s object and puts it there; what stood there before
  /// comes back in `former`. Null when the object's thread still runs.
  std::shared_ptr<ThreadRecord> add(std::shared_ptr<ThreadRecord>& slot,
                                    std::shared_ptr<ThreadRecord>& former);
  /// What a slot holds. Slots are only read and written under the registry's lock.
  std::shared_ptr<ThreadRecord> read(const std::shared_ptr<ThreadRecord>& slot);
  std::shared_ptr<ThreadRecord> find(unsigned long id);
  /// Joins the thread, then forgets it. Null is ignored, and so is the calling thread itself.
  void joinAndForget(const std::shared_ptr<ThreadRecord>& record);
  void forget(unsigned long id);

 private:
  std::mutex m_mutex;
  unsigned long m_lastId = 0;                                              // guarded by m_mutex
  std::unordered_map<unsigned long, std::shared_ptr<ThreadRecord>> m_all;  // guarded by m_mutex
};

}  // namespace framework_detail
