#pragma once

#include <soci/soci.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/directory/DirectoryClient.h"
#include "host/directory/EntryTable.h"
#include "host/directory/PhoneBookBackend.h"

namespace host {

/// Where the phonebook is, and how much it may hold.
struct PhoneBookOptions {
  /// "sqlite3://PATH", with three slashes for an absolute path; missing folders are made. Or
  /// "postgresql://user@host:port/database", as PostgreSQL's own programs take it.
  std::string connection;
  std::uint64_t maxEntries = 50000;
  /// The values of all entries together.
  std::uint64_t maxBytes = std::uint64_t{256} << 20;
  /// How long a lock of another program is waited for.
  std::chrono::milliseconds busyTimeout{5000};
  /// How long a server may take for an answer.
  std::chrono::milliseconds serverTimeout{20000};
};

/// The entries, in a database.
///
/// A database that fails is opened anew at the next call, so that the phonebook works again when
/// the cause has gone; one whose file was replaced or removed, or whose server was started anew, is
/// opened anew as well. Other processes may use the same database at the same time.
///
/// Errors are PhoneBookError; afterwards nothing of the failed call is stored, unless the error
/// says that this is unknown.
///
/// Threads: one at a time; the calls may wait for as long as the time-out says.
class PhoneBook {
 public:
  /// Takes the values of one entry, in the order of the columns asked for.
  using EntryReader = std::function<void(const std::vector<std::string>&)>;

  /// Opens the database and makes or checks its tables.
  explicit PhoneBook(PhoneBookOptions options);
  ~PhoneBook();
  PhoneBook(const PhoneBook&) = delete;
  PhoneBook& operator=(const PhoneBook&) = delete;

  /// Hands over every entry whose values equal all those in `match`, by ascending Id; every entry
  /// when `match` is empty, none when it has nothing but empty values. What `reader` throws ends
  /// the reading.
  void read(const std::vector<Column>& columns, const std::vector<ColumnValue>& match,
            const EntryReader& reader);
  /// Adds an entry and returns its Id. It is on the disk then.
  long long write(const std::vector<ColumnValue>& entry);
  /// Replaces texts of an entry; the others stay. False when there is no entry of that Id. Throws
  /// DirectoryRefusal when the entry would hold nothing then, or too much.
  bool update(long long id, const std::vector<ColumnValue>& texts);
  /// Deletes an entry. False when there is none of that Id.
  bool remove(long long id);

 private:
  template <typename Work>
  auto guarded(const Work& work);
  template <typename Work>
  auto whenFree(const Work& work);

  soci::session& session();
  void connect();
  /// Does the work in a transaction that no other phone's is beside. The work says whether it
  /// changed anything.
  template <typename Work>
  bool change(const Work& work);
  void commit(soci::transaction& transaction);

  void prepareTables();
  void replace(EntryTable& table, long long id, const std::vector<ColumnValue>& texts);
  void checkAnswer(const std::vector<Column>& columns, const std::vector<ColumnValue>& match);
  void checkRoom(EntryTable& table) const;
  void checkBytes(const EntryTable::Totals& totals) const;

  const PhoneBookOptions m_options;
  const std::unique_ptr<PhoneBookBackend> m_backend;
  std::unique_ptr<soci::session> m_session;
  // During a call only, and gone before the session.
  std::unique_ptr<SocketWatchdog> m_watch;
  bool m_broken = false;
};

}  // namespace host
