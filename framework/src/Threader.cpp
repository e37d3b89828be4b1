#include "framework/Threader.h"

#include <pthread.h>

#include <atomic>
#include <condition_variable>
#include <exception>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <unordered_map>
#include <utility>

#include "framework/Threadable.h"

namespace framework_detail {

/// One thread, from the attempt to spawn it until it has been joined. Kept apart from the
/// `Threadable`: while one thread waits here, another may return from its wait and delete the
/// object.
struct ThreadRecord {
  explicit ThreadRecord(unsigned long number) : id(number) {}

  /// Starts the thread; call once. Returns false if the system refuses it.
  bool start(std::shared_ptr<ThreadRecord> self, Threadable& threadable, const std::string& name);
  /// Returns once the thread has been joined, by this or another caller, or if it never started.
  /// Must not be called on the thread itself.
  void join();
  /// Whether `run` has returned or never started: the object may be spawned again.
  [[nodiscard]] bool isOver() const { return m_over.load(std::memory_order_acquire); }

  const unsigned long id;

 private:
  enum class State { kStarting, kStarted, kJoining, kDone };

  void runBody(Threadable& threadable, const std::string& name);

  std::atomic<bool> m_over{false};
  std::mutex m_mutex;
  std::condition_variable m_changed;
  State m_state = State::kStarting;  // guarded by m_mutex
  std::thread m_thread;              // used by start(), then by the caller that set kJoining
};

namespace {

// The kernel's limit, without the NUL.
constexpr std::size_t kMaxThreadName = 15;

// Null on threads that no Threader spawned.
thread_local const ThreadRecord* currentRecord = nullptr;

/// The process's spawned and not yet joined threads, by id. `Threadable::m_record` (a "slot") is
/// only read and written here, under the registry's lock.
class ThreadRegistry {
 public:
  // Never destroyed: threads may outlive main().
  static ThreadRegistry& instance() {
    static auto* const registry = new ThreadRegistry;
    return *registry;
  }

  /// Puts a new record into `slot` and moves the previous one to `former`. Returns null if the
  /// slot's thread is still running.
  std::shared_ptr<ThreadRecord> add(std::shared_ptr<ThreadRecord>& slot,
                                    std::shared_ptr<ThreadRecord>& former) {
    const std::lock_guard lock(m_mutex);
    if (slot && !slot->isOver()) return nullptr;
    auto record = std::make_shared<ThreadRecord>(m_lastId + 1);
    m_records.emplace(record->id, record);
    ++m_lastId;
    former = std::exchange(slot, record);
    return record;
  }

  std::shared_ptr<ThreadRecord> read(const std::shared_ptr<ThreadRecord>& slot) {
    const std::lock_guard lock(m_mutex);
    return slot;
  }

  std::shared_ptr<ThreadRecord> find(unsigned long id) {
    const std::lock_guard lock(m_mutex);
    const auto found = m_records.find(id);
    return found == m_records.end() ? nullptr : found->second;
  }

  /// Does nothing for null and for the calling thread's own record.
  void joinAndForget(const std::shared_ptr<ThreadRecord>& record) {
    if (!record || record.get() == currentRecord) return;
    record->join();
    forget(record->id);
  }

  void forget(unsigned long id) {
    const std::lock_guard lock(m_mutex);
    m_records.erase(id);
  }

 private:
  std::mutex m_mutex;
  unsigned long m_lastId = 0;                                                  // guarded by m_mutex
  std::unordered_map<unsigned long, std::shared_ptr<ThreadRecord>> m_records;  // guarded by m_mutex
};

}  // namespace

bool ThreadRecord::start(std::shared_ptr<ThreadRecord> self, Threadable& threadable,
                         const std::string& name) {
  const std::lock_guard lock(m_mutex);
  try {
    m_thread = std::thread(
        [self = std::move(self), &threadable, name] { self->runBody(threadable, name); });
    m_state = State::kStarted;
  } catch (const std::exception&) {
    m_over.store(true, std::memory_order_release);
    m_state = State::kDone;
  }
  m_changed.notify_all();
  return m_state == State::kStarted;
}

void ThreadRecord::runBody(Threadable& threadable, const std::string& name) {
  currentRecord = this;
  if (!name.empty()) {
    pthread_setname_np(pthread_self(), name.substr(0, kMaxThreadName).c_str());
  }
  threadable.run();
  // Don't touch the object from here on: it may have been deleted.
  m_over.store(true, std::memory_order_release);
}

void ThreadRecord::join() {
  std::unique_lock lock(m_mutex);
  m_changed.wait(lock, [this] { return m_state == State::kStarted || m_state == State::kDone; });
  if (m_state == State::kDone) return;
  m_state = State::kJoining;
  lock.unlock();
  m_thread.join();
  lock.lock();
  m_state = State::kDone;
  m_changed.notify_all();
}

}  // namespace framework_detail

using framework_detail::ThreadRecord;
using framework_detail::ThreadRegistry;

Threadable::Threadable() = default;

Threadable::~Threadable() { waitForThreadCompletion(); }

int Threadable::getThreadPriorityForPlatform() { return 0; }

int Threadable::type() { return 0; }

void Threadable::waitForThreadCompletion() {
  ThreadRegistry& registry = ThreadRegistry::instance();
  // Uses only the record from here on: another waiter may return first and delete this object.
  registry.joinAndForget(registry.read(m_record));
}

bool Threader::spawn(unsigned long& id, Threadable* threadable, const std::string& name,
                     GPALThreadPriority, int) {
  if (threadable == nullptr) return false;
  ThreadRegistry& registry = ThreadRegistry::instance();
  std::shared_ptr<ThreadRecord> record;
  std::shared_ptr<ThreadRecord> former;
  try {
    record = registry.add(threadable->m_record, former);
  } catch (const std::exception&) {
    return false;  // out of memory
  }
  if (!record) return false;
  // The former thread no longer uses the object, but may not have been joined yet.
  registry.joinAndForget(former);
  if (!record->start(record, *threadable, name)) {
    registry.forget(record->id);
    return false;
  }
  id = record->id;
  return true;
}

void Threader::destroy(unsigned long id) {
  ThreadRegistry& registry = ThreadRegistry::instance();
  registry.joinAndForget(registry.find(id));
}
