#include "host/directory/PhoneBookBackend.h"

#include <regex>
#include <string_view>

namespace host {

// Up to the last "@": a password that lacks its escapes may contain "@" and "/".
std::string redactPassword(const std::string& connection) {
  static const std::regex option(
      R"(((?:password|passwd|pwd|pass)\s*=\s*)('[^']*'?|"[^"]*"?|[^ ;&]*))", std::regex::icase);
  static const std::regex authority(R"(^([^/@:\s]*:?/*[^/@:\s]*:)\S*@)");
  const std::string redacted = std::regex_replace(connection, option, "$1***");
  return std::regex_replace(redacted, authority, "$1***@");
}

std::unique_ptr<PhoneBookBackend> PhoneBookBackend::create(const std::string& connection,
                                                           std::chrono::milliseconds timeout) {
  constexpr std::string_view kSqlite = "sqlite3://";
  if (connection.starts_with(kSqlite) && connection.size() > kSqlite.size())
    return makeSqliteBackend(connection.substr(kSqlite.size()));
  if (connection.starts_with("postgresql://")) return makePostgresBackend(connection, timeout);
  throw PhoneBookError(PhoneBookError::Kind::kBroken, "\"" + redactPassword(connection) +
                                                          "\" is not a phonebook connection; write "
                                                          "sqlite3:///path/to/phonebook.db or "
                                                          "postgresql://user@host/database.");
}

}  // namespace host
