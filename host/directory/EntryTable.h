#pragma once

#include <soci/soci.h>

#include <string>
#include <vector>

#include "host/directory/DirectoryClient.h"
#include "host/directory/PhoneBookBackend.h"

namespace host {

/// The table that holds the entries: everything that is said about it in SQL.
///
/// Errors are soci::soci_error. Where more than one call belongs together the transaction around
/// them is the caller's.
///
/// Threads: as the session, which has to outlive the object, as has the backend.
class EntryTable {
 public:
  class Query;

  /// Which entries are meant: those whose values equal all these, all without any. It has to stay
  /// where it is while a statement runs that it was bound to.
  class Match {
   public:
    Match(const PhoneBookBackend& backend, const std::vector<ColumnValue>& values);
    void bind(soci::statement& statement);
    /// With the word WHERE; empty without values.
    std::string condition() const;

   private:
    const PhoneBookBackend& m_backend;
    std::vector<ColumnValue> m_values;  ///< as they are stored
    long long m_id = 0;
  };

  /// What the whole table holds.
  struct Totals {
    long long entries = 0;
    long long bytes = 0;  ///< of all texts together
  };

  EntryTable(soci::session& session, const PhoneBookBackend& backend)
      : m_session(session), m_backend(backend) {}

  void create();
  /// Adds an entry and returns its Id. `values` has one for each column, in their order; that of
  /// the Id isn't looked at.
  long long insert(const std::vector<std::string>& values);
  /// Whether there is an entry of that Id. It is locked against other sessions from here to the end
  /// of the transaction.
  bool claim(long long id);
  /// A value for each column of an entry that is there, in their order.
  std::vector<std::string> valuesOf(long long id);
  /// Replaces texts of an entry; `bytes` is what all its texts have together afterwards.
  void update(long long id, const std::vector<ColumnValue>& texts, long long bytes);
  /// How many bytes these columns of the matching entries have together.
  long long bytesOfMatching(const std::vector<Column>& columns,
                            const std::vector<ColumnValue>& match);
  /// False when there is no entry of that Id.
  bool remove(long long id);
  Totals totals();

  /// How many bytes the texts of an entry have together.
  static long long bytesOf(const std::vector<std::string>& values);

 private:
  soci::session& m_session;
  const PhoneBookBackend& m_backend;
};

/// A running SELECT for the entries whose values equal all those in `match`, by ascending Id.
class EntryTable::Query {
 public:
  Query(soci::session& session, const PhoneBookBackend& backend, const std::vector<Column>& columns,
        const std::vector<ColumnValue>& match);

  /// False when there are no more entries.
  bool next();
  /// Of the entry that `next` went to, in the order of the columns asked for.
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
