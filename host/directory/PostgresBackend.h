#pragma once

#include <chrono>
#include <map>
#include <string>
#include <vector>

#include "host/directory/PhoneBookBackend.h"

namespace host {

/// A phonebook in a PostgreSQL database, which several telephones may share. A commit is as safe as
/// the server makes it.
///
/// Texts are `bytea`, which are any bytes and compare as such; they travel in hexadecimal digits.
/// The server's own texts are never told: they may quote values.
class PostgresBackend : public PhoneBookBackend {
 public:
  /// `uri` is "postgresql://…" as PostgreSQL's own programs take it. What it doesn't say comes from
  /// the environment (PGPASSFILE, PGPASSWORD, …). `timeout` is how long an answer of the server is
  /// waited for. Throws PhoneBookError when it is no such text.
  PostgresBackend(const std::string& uri, std::chrono::milliseconds timeout);

  void connect(soci::session& session) override;
  bool connectToLook(soci::session& session) override;
  std::unique_ptr<SocketWatchdog> watch(soci::session& session) const override;
  void claim(soci::session& session) const override;
  void settle(soci::session& session) override;
  bool hasMoved(soci::session& session) const override;
  PhoneBookError explain(const soci::soci_error& error) const override;
  PhoneBookError explainCommit(const soci::soci_error& error) const override;
  bool readsAtOnce() const override { return true; }
  std::string tablesQuery() const override;
  std::string idType() const override { return "BIGINT GENERATED ALWAYS AS IDENTITY PRIMARY KEY"; }
  std::string stored(const std::string& text) const override;
  std::string parameter(const std::string& name) const override;
  std::string selected(const std::string& column) const override;
  void restore(std::string& value) const override;
  std::string textType() const override { return "BYTEA"; }
  std::vector<std::string> indexes() const override;
  std::string name() const override { return m_name; }

 private:
  using Options = std::map<std::string, std::string>;

  void readUri(const std::string& uri);
  void setDefaults();
  std::string connectionText() const;
  void configure(soci::session& session) const;
  PhoneBookError problem(PhoneBookError::Kind kind, const std::string& what) const;

  const std::chrono::milliseconds m_timeout;
  Options m_options;  ///< by their names in the client library
  std::string m_name;
};

}  // namespace host
