#pragma once

#include <soci/soci.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "host/directory/PhoneBookError.h"
#include "host/directory/SocketWatchdog.h"

namespace host {

/// A table beside those of the phonebook, which its owner makes: see host/push.
inline constexpr const char* kJournalTable = "phonebook_journal";

/// What differs between the databases that can hold a phonebook. All other SQL is understood by
/// each of them.
///
/// Threads: one object serves one thread at a time.
class PhoneBookBackend {
 public:
  /// The one place that knows which databases there are. `connection` is "sqlite3://PATH" or
  /// "postgresql://…"; throws PhoneBookError for any other. `timeout` is how long a server may
  /// take for an answer.
  static std::unique_ptr<PhoneBookBackend> create(const std::string& connection,
                                                  std::chrono::milliseconds timeout);
  virtual ~PhoneBookBackend() = default;

  /// Opens the database, made when there is none, for reading and writing. The session must not be
  /// connected yet. A lock of someone else is waited for a moment at most, here and in any later
  /// statement: that is the caller's affair. Throws PhoneBookError or soci::soci_error.
  virtual void connect(soci::session& session) = 0;
  /// Opens the database for reading only; nothing is made, and nothing changed. False when there is
  /// none, but one could be made. Throws as `connect`, also where that would fail.
  virtual bool connectToLook(soci::session& session) = 0;
  /// Ends what waits for too long on the connection, for as long as the result lives. Null where
  /// nothing can wait.
  virtual std::unique_ptr<SocketWatchdog> watch(soci::session& session) const;
  /// The first statement of each transaction that changes something: from here to its end no other
  /// phone changes anything. Nothing where the first change itself sees to that.
  virtual void claim(soci::session& session) const { static_cast<void>(session); }
  /// What is to be done after each commit that changed something. Nothing that goes wrong here
  /// undoes the commit, so no error is told.
  virtual void settle(soci::session& session) = 0;
  /// Whether what was opened last is no longer what the connection string names.
  virtual bool hasMoved(soci::session& session) const = 0;
  /// What an error of the database means. The error's own text is not for the user: it quotes the
  /// values.
  virtual PhoneBookError explain(const soci::soci_error& error) const = 0;
  /// The same for an error of a commit, after which it may be unknown whether it was done.
  virtual PhoneBookError explainCommit(const soci::soci_error& error) const {
    return explain(error);
  }
  /// Whether everything that a SELECT gives is in memory before its first row can be looked at.
  virtual bool readsAtOnce() const { return false; }
  /// A SELECT for the names of the tables that are in the place of the phonebook's.
  virtual std::string tablesQuery() const = 0;
  /// The SQL type of a number that the database gives to each new row and never gives again.
  virtual std::string idType() const = 0;
  // A text on its way to the database and back, for one whose client can't carry any byte there is:
  // as what it is bound, the SQL that takes it from the parameter of that name, the SQL that gives
  // the column of that name, and the text again of what came back.
  virtual std::string stored(const std::string& text) const { return text; }
  virtual std::string parameter(const std::string& name) const { return ":" + name; }
  virtual std::string selected(const std::string& column) const { return column; }
  virtual void restore(std::string& value) const { static_cast<void>(value); }
  /// The SQL type of a text of any bytes but NUL, whose equality is that of the bytes.
  virtual std::string textType() const { return "TEXT"; }
  /// The indexes of the table of entries, as they stand behind CREATE INDEX.
  virtual std::vector<std::string> indexes() const = 0;
  /// How messages call the phonebook.
  virtual std::string name() const = 0;

 protected:
  PhoneBookBackend() = default;
  PhoneBookBackend(const PhoneBookBackend&) = delete;
  PhoneBookBackend& operator=(const PhoneBookBackend&) = delete;
};

}  // namespace host
