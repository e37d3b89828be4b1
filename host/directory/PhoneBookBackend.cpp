#include "host/directory/PhoneBookBackend.h"

#include <string_view>

#include "host/directory/SqliteBackend.h"

namespace host {

std::unique_ptr<PhoneBookBackend> PhoneBookBackend::create(const std::string& connection) {
  constexpr std::string_view kSqlite = "sqlite3://";
  if (connection.starts_with(kSqlite) && connection.size() > kSqlite.size())
    return std::make_unique<SqliteBackend>(connection.substr(kSqlite.size()));
  throw PhoneBookError(PhoneBookError::Kind::Broken,
                       "\"" + connection +
                           "\" names no phonebook that can be opened; write "
                           "sqlite3:///path/to/phonebook.db.");
}

}  // namespace host
