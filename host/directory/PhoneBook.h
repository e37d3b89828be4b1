#pragma once

#include <soci/soci.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/directory/EntryTable.h"
#include "host/directory/PhoneBookBackend.h"

namespace host {

/// Where the phonebook is, and its limits.
struct PhoneBookOptions {
  /// "sqlite3://PATH", with three slashes for an absolute path; missing folders are created. Or
  /// "postgresql://user@host:port/database", as libpq takes it.
  std::string connection;
  std::uint64_t maxEntries = 50000;
  /// Size of the values of all entries together.
  std::uint64_t maxBytes = std::uint64_t{256} << 20;
  /// Longest wait for a lock of another program.
  std::chrono::milliseconds busyTimeout{5000};
  /// Longest wait for an answer of a server.
  std::chrono::milliseconds serverTimeout{20000};
};

/// The entries, in a database that other processes may use at the same time.
///
/// Reconnects at the next call after an error of the database, and when its file was replaced or
/// removed or its server was restarted, so that the phonebook works again once the cause is gone.
///
/// Errors are PhoneBookError; nothing of the failed call is stored then, unless the message says
/// that this is unknown.
///
/// Threads: one at a time. Calls may block for as long as the timeouts say.
class PhoneBook {
 public:
  /// Takes the values of one entry, in the order of the requested columns.
  using EntryReader = std::function<void(const std::vector<std::string>&)>;

  /// Opens the database; creates or checks its tables.
  explicit PhoneBook(PhoneBookOptions options);
  ~PhoneBook();
  PhoneBook(const PhoneBook&) = delete;
  PhoneBook& operator=(const PhoneBook&) = delete;

  /// Whether the phonebook exists. Changes nothing, and may be called while it is in use, though
  /// not by a process that has the same file open (it would lose its locks). Throws PhoneBookError
  /// when the phonebook can't be opened or, if it is missing, can't be created; room isn't checked.
  /// Threads: any.
  static bool exists(const PhoneBookOptions& options);

  /// Passes every entry whose values equal all those in `match` to `reader`, by ascending Id: every
  /// entry if `match` is empty, none if all its values are empty. Exceptions of `reader` end the
  /// reading and are passed on.
  void read(const std::vector<Column>& columns, const std::vector<ColumnValue>& match,
            const EntryReader& reader);
  /// Adds an entry and returns its Id. The entry is on disk then.
  long long write(const std::vector<ColumnValue>& entry);
  /// Replaces texts of an entry and keeps the others. Returns false when there is none with that
  /// Id. Throws DirectoryRefusal when the entry would become empty or too large.
  bool update(long long id, const std::vector<ColumnValue>& texts);
  /// Deletes an entry. Returns false when there is none with that Id.
  bool remove(long long id);

 private:
  /// Runs `work`; throws PhoneBookError in place of soci::soci_error.
  template <typename Work>
  auto translatingErrors(const Work& work);
  template <typename Work>
  auto retryingWhileBusy(const Work& work);
  /// Runs `work` in a transaction that excludes other writers, and commits it if `work` returns
  /// true. Returns what `work` returned.
  template <typename Work>
  bool change(const Work& work);

  soci::session& session();
  void connect();
  void commit(soci::transaction& transaction);
  void replace(EntryTable& table, long long id, const std::vector<ColumnValue>& texts);
  void checkAnswer(const std::vector<Column>& columns, const std::vector<ColumnValue>& match);
  void checkRoom(EntryTable& table) const;
  void checkBytes(const EntryTable::Totals& totals) const;

  const PhoneBookOptions m_options;
  const std::unique_ptr<PhoneBookBackend> m_backend;
  std::unique_ptr<soci::session> m_session;
  // Set during a call only; must not outlive the session.
  std::shared_ptr<void> m_watch;
  bool m_broken = false;
};

}  // namespace host
