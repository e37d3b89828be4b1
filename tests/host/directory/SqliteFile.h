#pragma once

#include <string>

#include "tests/host/directory/ChildProcess.h"

struct sqlite3;

namespace test {

/// Direct access to a database file, bypassing the code under test. Errors are std::runtime_error.
class Database {
 public:
  explicit Database(const std::string& path);
  ~Database();
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  /// Runs statements and returns all their values, concatenated.
  std::string Run(const std::string& sql);

 private:
  sqlite3* m_handle = nullptr;
};

/// Locks a database file from another process. Create it before the test opens a database.
class LockedFile {
 public:
  explicit LockedFile(const std::string& path);

  /// Begins a transaction with these statements.
  void Take(const std::string& statements);
  void Release();
  /// Returns at once; the transaction ends half a second later.
  void ReleaseInAMoment();

 private:
  ChildProcess m_other;
};

}  // namespace test
