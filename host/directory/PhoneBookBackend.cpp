#include "host/directory/PhoneBookBackend.h"

#include <string_view>

#include "host/directory/PostgresBackend.h"
#include "host/directory/RedactPassword.h"
#include "host/directory/SqliteBackend.h"

namespace host {

std::unique_ptr<PhoneBookBackend> PhoneBookBackend::create(const std::string& connection,
                                                           std::chrono::milliseconds timeout) {
  constexpr std::string_view kSqlite = "sqlite3://";
  if (connection.starts_with(kSqlite) && connection.size() > kSqlite.size())
    return std::make_unique<SqliteBackend>(connection.substr(kSqlite.size()));
  if (connection.starts_with("postgresql://"))
    return std::make_unique<PostgresBackend>(connection, timeout);
  throw PhoneBookError(PhoneBookError::Kind::Broken,
                       "\"" + redactPassword(connection) +
                           "\" names no phonebook that can be opened; write "
                           "sqlite3:///path/to/phonebook.db or "
                           "postgresql://user@host/database.");
}

std::unique_ptr<SocketWatchdog> PhoneBookBackend::watch(soci::session& session) const {
  static_cast<void>(session);
  return nullptr;
}

}  // namespace host
