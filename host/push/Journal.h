#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "host/push/JournalEntry.h"
#include "host/push/JournalTable.h"

namespace host {

/// The journal of all pushes. Entries are taken at once and written by a thread of its own; while
/// the database can't be written, they wait, and it is tried again.
///
/// Threads: any. Nobody but `read` and the end waits for the database.
class Journal {
 public:
  struct Limits {
    long long rows = 10000;      ///< kept in the database
    std::size_t waiting = 1000;  ///< entries that may wait for it; beyond, the oldest are dropped
  };

  explicit Journal(const std::string& connection) : Journal(connection, Limits()) {}
  Journal(const std::string& connection, const Limits& limits);
  /// Ends as `stop`.
  ~Journal();
  Journal(const Journal&) = delete;
  Journal& operator=(const Journal&) = delete;

  /// Begins to write. Entries of earlier runs whose cards still waited are lost, and told so.
  void start();
  /// Writes what waits, if that can be done.
  void stop();

  /// Adds an entry, or replaces the one of the same number. No exception leaves it.
  void put(const JournalEntry& entry);
  /// The newest ones, the newest first; what was put before is among them. Throws PhoneBookError.
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
  std::string m_complaint;  ///< the last one that was logged

  std::mutex m_mutex;
  std::condition_variable m_changed;
  // Guarded by m_mutex:
  std::deque<JournalEntry> m_waiting;
  bool m_stopping = false;
  std::size_t m_dropped = 0;

  std::thread m_thread;
};

}  // namespace host
