#pragma once

#include <soci/soci.h>

#include <memory>
#include <string>
#include <vector>

#include "host/directory/PhoneBookBackend.h"
#include "host/push/JournalEntry.h"

namespace host {

/// The journal's table in the phonebook's database. What is written in one call is there as a whole
/// or not at all. A database that failed is opened anew at the next call.
///
/// Threads: one at a time. Errors are PhoneBookError.
class JournalTable {
 public:
  /// `run` is a name for this run of the telephone, by which its entries are known again; beyond
  /// `maxRows` the oldest go.
  JournalTable(const std::string& connection, std::string run, long long maxRows);
  ~JournalTable();
  JournalTable(const JournalTable&) = delete;
  JournalTable& operator=(const JournalTable&) = delete;

  /// Adds these entries, or replaces those of the same numbers.
  void write(const std::vector<JournalEntry>& entries);
  /// The newest entries, of all runs of all telephones, the newest first.
  std::vector<JournalEntry> read(int limit);

  /// The runs that have entries which still wait for an answer.
  std::vector<std::string> waitingRuns();
  /// Says of these entries that they are lost.
  void giveUp(const std::string& run);

 private:
  template <typename Work>
  void guarded(const Work& work);
  void open();
  void writeOne(const JournalEntry& entry);
  bool update(const JournalEntry& entry);
  void insert(const JournalEntry& entry);

  const std::unique_ptr<PhoneBookBackend> m_backend;
  const std::string m_run;
  const long long m_maxRows;
  std::unique_ptr<soci::session> m_session;
};

}  // namespace host
