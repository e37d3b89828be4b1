#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "host/push/JournalTable.h"

namespace host {

/// The journal of all pushes. `put` never blocks: a thread of the journal's own writes the entries,
/// and retries while the database can't be written.
///
/// Threads: any.
class Journal {
 public:
  struct Limits {
    long long rows = 10000;      ///< kept in the database
    std::size_t waiting = 1000;  ///< entries not written yet; beyond, the oldest are dropped
  };

  explicit Journal(const std::string& connection) : Journal(connection, Limits()) {}
  Journal(const std::string& connection, const Limits& limits);
  ~Journal();
  Journal(const Journal&) = delete;
  Journal& operator=(const Journal&) = delete;

  /// Starts to write. Marks cards as lost that were waiting when an earlier run ended.
  void start();
  /// Tries to write the remaining entries and stops.
  void stop();

  /// Adds an entry, or replaces the one of the same number.
  void put(const JournalEntry& entry) noexcept;
  /// The newest entries, newest first, including all that were put before. Throws PhoneBookError.
  std::vector<JournalEntry> read(int limit);

 private:
  void run();
  bool settle();
  void settleOldRuns();
  bool writeWaiting();
  void complain(const std::string& reason);

  const Limits m_limits;
  std::mutex m_tableMutex;
  // Guarded by m_tableMutex:
  JournalTable m_table;
  bool m_oldRunsSettled = false;
  std::string m_complaint;  ///< the last one logged

  std::mutex m_mutex;
  std::condition_variable m_changed;
  // Guarded by m_mutex:
  std::deque<JournalEntry> m_waiting;
  bool m_stopping = false;
  std::size_t m_dropped = 0;

  std::thread m_thread;
};

}  // namespace host
