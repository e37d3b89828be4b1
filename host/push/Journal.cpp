#include "host/push/Journal.h"

#include <algorithm>
#include <chrono>
#include <exception>

#include "host/loader/HostLog.h"

namespace host {
namespace {

/// Between attempts to write.
constexpr std::chrono::seconds kPause{2};
/// Attempts to read while another process holds the database's lock.
constexpr int kReadAttempts = 200;
constexpr std::chrono::milliseconds kReadPause{10};

}  // namespace

Journal::Journal(const std::string& connection, const Limits& limits)
    : m_limits(limits), m_table(connection, runId(), limits.rows) {}

Journal::~Journal() { stop(); }

void Journal::start() {
  m_thread = std::thread([this] { run(); });
}

void Journal::stop() {
  {
    const std::lock_guard lock(m_mutex);
    m_stopping = true;
    m_changed.notify_all();
  }
  if (m_thread.joinable()) m_thread.join();
}

void Journal::put(const JournalEntry& entry) noexcept {
  try {
    const std::lock_guard lock(m_mutex);
    const auto same =
        std::find_if(m_waiting.begin(), m_waiting.end(),
                     [&](const JournalEntry& waiting) { return waiting.number == entry.number; });
    if (same != m_waiting.end()) {
      *same = entry;
    } else {
      m_waiting.push_back(entry);
    }
    if (m_waiting.size() > m_limits.waiting) {
      m_waiting.pop_front();
      ++m_dropped;
    }
    m_changed.notify_all();
  } catch (const std::exception& error) {
    HOST_LOG_ERROR("can't record %s of %s in the journal: %s", entry.object.c_str(),
                   entry.peer.c_str(), error.what());
  }
}

void Journal::run() {
  std::unique_lock lock(m_mutex);
  bool settled = false;
  while (true) {
    m_changed.wait(lock, [&] { return m_stopping || !m_waiting.empty() || !settled; });
    const bool last = m_stopping;
    lock.unlock();
    settled = settle();
    lock.lock();
    if (last) break;
    if (!settled) m_changed.wait_for(lock, kPause, [this] { return m_stopping; });
  }
  if (!m_waiting.empty()) HOST_LOG_ERROR("the journal lost its last %zu entries", m_waiting.size());
}

bool Journal::settle() {
  const std::lock_guard table(m_tableMutex);
  try {
    settleOldRuns();
    while (writeWaiting()) continue;
    m_complaint.clear();
    return true;
  } catch (const PhoneBookError& error) {
    // Another process holds the lock: not worth a log line.
    if (error.kind() != PhoneBookError::Kind::kBusy) complain(error.what());
  } catch (const std::exception& error) {
    complain(error.what());
  }
  return false;
}

void Journal::complain(const std::string& reason) {
  if (reason == m_complaint) return;
  m_complaint = reason;
  HOST_LOG_ERROR("the journal can't be written: %s", reason.c_str());
}

void Journal::settleOldRuns() {
  if (m_oldRunsSettled) return;
  for (const std::string& run : m_table.waitingRuns())
    if (hasEnded(run)) m_table.giveUp(run);
  m_oldRunsSettled = true;
}

/// Returns false if there was nothing to write. Entries stay in the queue until they are written,
/// so that a newer version that is put meanwhile replaces the queued one.
bool Journal::writeWaiting() {
  std::vector<JournalEntry> entries;
  {
    const std::lock_guard lock(m_mutex);
    entries.assign(m_waiting.begin(), m_waiting.end());
    if (m_dropped != 0)
      HOST_LOG_ERROR("the journal lost %zu entries: the database could not be written in time",
                     m_dropped);
    m_dropped = 0;
  }
  if (entries.empty()) return false;
  m_table.write(entries);
  const std::lock_guard lock(m_mutex);
  for (const JournalEntry& written : entries) std::erase(m_waiting, written);
  return true;
}

std::vector<JournalEntry> Journal::read(int limit) {
  for (int attempt = 1;; ++attempt) {
    try {
      const std::lock_guard table(m_tableMutex);
      while (writeWaiting()) continue;
      return m_table.read(limit);
    } catch (const PhoneBookError& error) {
      if (error.kind() != PhoneBookError::Kind::kBusy || attempt == kReadAttempts) throw;
    }
    std::this_thread::sleep_for(kReadPause);
  }
}

}  // namespace host
