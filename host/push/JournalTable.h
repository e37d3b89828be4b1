#pragma once

#include <soci/soci.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "host/directory/PhoneBookBackend.h"

namespace host {

/// What became of one push. Texts are untrusted and must be made safe before display.
struct JournalEntry {
  long long number = 0;   ///< within this run, from 1
  std::string phone;      ///< "user@host" of the telephone; only set in entries that were read
  std::int64_t time = 0;  ///< of the first event, in milliseconds since 1970
  std::string peer;       ///< the device's address, empty if not known
  std::string peerName;
  std::string object;  ///< its name, empty for none
  long long size = 0;  ///< of its body, in bytes
  std::string link;    ///< what happened on the link: "taken", "refused: ...", "broken off: ..."
  /// What happened to the card: "waiting", "stored", "there already", "not stored: ...", ...; empty
  /// if nothing was received.
  std::string book;

  bool operator==(const JournalEntry&) const = default;
};

/// `book` of a card that waits for an answer.
inline constexpr const char* kBookWaiting = "waiting";
/// Start of `book` of a card that the phonebook refused; the reason follows.
inline constexpr const char* kNotStored = "not stored: ";
/// `book` of a card that was waiting when its telephone ended.
inline constexpr const char* kBookLost = "lost: the phone ended before there was an answer";

/// A unique id of this run of this process: machine, boot, process number and start time, followed
/// by "user@host".
std::string runId();

/// The "user@host" in a run id, empty if it has none.
std::string phoneOfRun(const std::string& run);

/// Whether the process of a run on this machine has ended. False for runs on other machines.
bool hasEnded(const std::string& run);

/// The journal's table in the phonebook's database. Each call is one transaction. After an error
/// the next call reconnects.
///
/// Threads: one at a time. Errors are PhoneBookError.
class JournalTable {
 public:
  /// `run` is the id of this run; an entry is identified by run and number. Beyond `maxRows`, the
  /// oldest entries are deleted.
  JournalTable(const std::string& connection, std::string run, long long maxRows);
  ~JournalTable();
  JournalTable(const JournalTable&) = delete;
  JournalTable& operator=(const JournalTable&) = delete;

  /// Adds entries, or replaces those of the same number.
  void write(const std::vector<JournalEntry>& entries);
  /// The newest entries of all runs of all telephones, newest first.
  std::vector<JournalEntry> read(int limit);

  /// The runs that have entries with `kBookWaiting`.
  std::vector<std::string> waitingRuns();
  /// Marks those entries of a run as lost.
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
