#pragma once

#include <string>

struct sqlite3;

namespace test {

/// A database file, seen with nothing of the program in between. Errors are std::runtime_error.
class Database {
 public:
  explicit Database(const std::string& path);
  ~Database();
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  /// Runs statements and returns all the values they give, one after the other.
  std::string Run(const std::string& sql);

 private:
  sqlite3* m_handle = nullptr;
};

}  // namespace test
