#pragma once

#include <string>

#include "tests/host/directory/ChildProcess.h"

namespace test {

/// A database file that another process locks. Like any child process it is made before the test
/// has a database open.
class LockedFile {
 public:
  explicit LockedFile(const std::string& path);

  /// Begins a transaction with these statements.
  void Take(const std::string& statements);
  void Release();
  /// Returns at once; the other process ends the transaction half a second later.
  void ReleaseInAMoment();

 private:
  ChildProcess m_other;
};

}  // namespace test
