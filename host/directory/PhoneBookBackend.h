#pragma once

#include <soci/soci.h>

#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace host {

/// A table that may exist beside those of the phonebook; its owner creates it (see host/push).
inline constexpr const char* kJournalTable = "phonebook_journal";

/// The phonebook can't be opened, read or written. `what()` is a sentence for the user: the
/// phonebook, the reason and what to do. It never contains a value of an entry.
class PhoneBookError : public std::runtime_error {
 public:
  enum class Kind {
    kBusy,    ///< locked by someone else: a retry may succeed
    kFull,    ///< no room; reading still works
    kBroken,  ///< the connection is unusable: reconnect before the next call
    kLost     ///< as Broken, but nothing of the call was done: it may be repeated at once
  };

  PhoneBookError(Kind kind, const std::string& sentence)
      : std::runtime_error(sentence), m_kind(kind) {}

  Kind kind() const { return m_kind; }

 private:
  Kind m_kind;
};

/// The connection string with its password replaced by "***", even in a malformed string. For
/// messages and logs. Thread-safe.
std::string redactPassword(const std::string& connection);

/// What differs between the databases that can hold a phonebook. All other SQL is portable.
///
/// Threads: one at a time. Sessions passed in must have been opened by the same object.
class PhoneBookBackend {
 public:
  /// `connection` is "sqlite3://PATH" or "postgresql://..."; throws PhoneBookError for anything
  /// else. `timeout` is the longest wait for an answer of a server.
  static std::unique_ptr<PhoneBookBackend> create(const std::string& connection,
                                                  std::chrono::milliseconds timeout);
  virtual ~PhoneBookBackend() = default;
  PhoneBookBackend(const PhoneBookBackend&) = delete;
  PhoneBookBackend& operator=(const PhoneBookBackend&) = delete;

  /// Opens the database for reading and writing, and creates it if missing. Neither this nor any
  /// later statement waits long for a lock; retrying is up to the caller. Throws PhoneBookError or
  /// soci::soci_error.
  virtual void connect(soci::session& session) = 0;
  /// Opens the database for reading and changes nothing. Returns false when there is none, but
  /// `connect` could create it; throws where `connect` would.
  virtual bool connectReadOnly(soci::session& session) = 0;
  /// Limits how long the calls on this session may block while the returned object, which may be
  /// null, exists. The session must outlive it.
  virtual std::shared_ptr<void> watch(soci::session& session) const {
    static_cast<void>(session);
    return nullptr;
  }
  /// Whether the open session no longer belongs to what the connection string names: the file was
  /// replaced, or the server closed the connection.
  virtual bool hasMoved(soci::session& session) const = 0;

  /// First statement of a transaction that writes: keeps other telephones from writing until the
  /// transaction ends. Empty where the first write does so itself.
  virtual void lockForWriting(soci::session& session) const { static_cast<void>(session); }
  /// Called after a commit that changed data. Errors are ignored: the commit stands.
  virtual void afterCommit(soci::session& session) const { static_cast<void>(session); }

  /// Translates an error. The database's own text is dropped: it may quote values.
  virtual PhoneBookError explain(const soci::soci_error& error) const = 0;
  /// The same for an error of a commit, whose outcome may be unknown.
  virtual PhoneBookError explainCommit(const soci::soci_error& error) const {
    return explain(error);
  }

  /// Whether the client library loads the whole result of a SELECT before its first row.
  virtual bool buffersResults() const { return false; }
  /// SELECT for the names of the tables in the database.
  virtual std::string tablesQuery() const = 0;
  /// SQL type of a primary key whose values are assigned by the database and never reused.
  virtual std::string idType() const = 0;
  /// SQL type of a text of any bytes but NUL, compared byte by byte.
  virtual std::string textType() const { return "TEXT"; }
  /// Indexes of the table of entries, each as it follows CREATE INDEX.
  virtual std::vector<std::string> indexes() const = 0;

  // For a client library that can't carry every byte: texts are encoded on their way to the
  // database and back.
  virtual std::string encode(const std::string& text) const { return text; }
  virtual void decode(std::string& value) const { static_cast<void>(value); }
  /// SQL expression for a bound, encoded text.
  virtual std::string parameter(const std::string& name) const { return ":" + name; }
  /// SQL expression that selects a column, encoded.
  virtual std::string selected(const std::string& column) const { return column; }

  /// The phonebook's name in messages, without password.
  virtual std::string name() const = 0;

 protected:
  PhoneBookBackend() = default;
};

// The backends that `create` chooses from.
std::unique_ptr<PhoneBookBackend> makeSqliteBackend(const std::string& path);
std::unique_ptr<PhoneBookBackend> makePostgresBackend(const std::string& uri,
                                                      std::chrono::milliseconds timeout);

}  // namespace host
