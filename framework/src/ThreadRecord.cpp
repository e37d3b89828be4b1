#include "ThreadRecord.h"

#include <pthread.h>

#include <system_error>
#include <utility>

#include "framework/Threadable.h"

namespace framework_detail {
namespace {

// What the kernel keeps of a thread's name, without the NUL.
constexpr std::size_t kMaxThreadName = 15;

// The record of the calling thread; null on threads that no Threader spawned.
thread_local const ThreadRecord* currentRecord = nullptr;

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
  // From here on the object is not touched: it may be gone.
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

ThreadRegistry& ThreadRegistry::instance() {
  static auto* const registry = new ThreadRegistry;
  return *registry;
}

std::shared_ptr<ThreadRecord> ThreadRegistry::add(std::shared_ptr<ThreadRecord>& slot,
                                                  std::shared_ptr<ThreadRecord>& former) {
  const std::lock_guard lock(m_mutex);
  if (slot && !slot->isOver()) return nullptr;
  auto record = std::make_shared<ThreadRecord>(m_lastId + 1);
  m_all.emplace(record->id, record);
  ++m_lastId;
  former = std::exchange(slot, record);
  return record;
}

std::shared_ptr<ThreadRecord> ThreadRegistry::read(const std::shared_ptr<ThreadRecord>& slot) {
  const std::lock_guard lock(m_mutex);
  return slot;
}

std::shared_ptr<ThreadRecord> ThreadRegistry::find(unsigned long id) {
  const std::lock_guard lock(m_mutex);
  const auto found = m_all.find(id);
  return found == m_all.end() ? nullptr : found->second;
}

void ThreadRegistry::joinAndForget(const std::shared_ptr<ThreadRecord>& record) {
  if (!record || record.get() == currentRecord) return;
  record->join();
  forget(record->id);
}

void ThreadRegistry::forget(unsigned long id) {
  const std::lock_guard lock(m_mutex);
  m_all.erase(id);
}

}  // namespace framework_detail
