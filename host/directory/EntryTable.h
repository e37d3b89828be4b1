#pragma once

#include <soci/soci.h>

#include <string>
#include <vector>

#include "host/directory/DirectoryClient.h"
#include "host/directory/PhoneBookBackend.h"

namespace host {

/// The tables of the phonebook: the entries, and the version of the layout. All SQL about them is
/// here.
///
/// Errors are soci::soci_error, and PhoneBookError where noted. Except for `create`, transactions
/// are up to the caller.
///
/// Threads: as the session, which must outlive the object, as must the backend.
class EntryTable {
 public:
  class Query;

  /// The condition that an entry equals all of these values; every entry meets an empty one. Must
  /// outlive the statements that it was bound to.
  class Match {
   public:
    Match(const PhoneBookBackend& backend, const std::vector<ColumnValue>& values);
    void bind(soci::statement& statement);
    /// " WHERE ...", or "" without values.
    std::string condition() const;

   private:
    const PhoneBookBackend& m_backend;
    std::vector<ColumnValue> m_values;  ///< encoded
    long long m_id = 0;
  };

  struct Totals {
    long long entries = 0;
    long long bytes = 0;  ///< of all texts together
  };

  EntryTable(soci::session& session, const PhoneBookBackend& backend)
      : m_session(session), m_backend(backend) {}

  /// Whether the tables exist. Throws PhoneBookError when the database has other tables instead.
  bool exists();
  /// Creates the tables, unless another process has just done so.
  void create();
  /// Throws PhoneBookError when the layout has a version that this program doesn't know.
  void checkVersion();

  /// Adds an entry, whose `id` is ignored, and returns its Id.
  long long insert(const cards::Card& entry);
  /// Locks an entry against other sessions until the end of the transaction. Returns false when
  /// there is none with that Id.
  bool lock(long long id);
  /// The entry with that Id, which must exist.
  cards::Card read(long long id);
  /// Replaces texts of an entry; `bytes` is the new size of all its texts together.
  void update(long long id, const std::vector<ColumnValue>& texts, long long bytes);
  /// Returns false when there is no entry with that Id.
  bool remove(long long id);
  Totals totals();
  /// The size of these columns of all matching entries together.
  long long bytesOfMatching(const std::vector<Column>& columns,
                            const std::vector<ColumnValue>& match);

  /// The size of an entry's texts together.
  static long long bytesOf(const cards::Card& entry);

 private:
  void createEntries();

  soci::session& m_session;
  const PhoneBookBackend& m_backend;
};

/// A running SELECT for the entries that match, by ascending Id.
class EntryTable::Query {
 public:
  Query(soci::session& session, const PhoneBookBackend& backend, const std::vector<Column>& columns,
        const std::vector<ColumnValue>& match);

  /// Goes to the next entry. Returns false when there are no more.
  bool next();
  /// The entry's values, in the order of the requested columns.
  const std::vector<std::string>& values() const { return m_values; }

 private:
  std::string text() const;

  const PhoneBookBackend& m_backend;
  const std::vector<Column> m_columns;
  std::vector<std::string> m_values;
  Match m_match;
  soci::statement m_statement;
};

}  // namespace host
