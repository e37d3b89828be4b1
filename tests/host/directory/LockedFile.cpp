#include "tests/host/directory/LockedFile.h"

#include <chrono>
#include <stdexcept>
#include <thread>

#include "tests/host/directory/Database.h"

namespace test {

namespace {

// Runs what the parent says, until it says no more.
int RunAll(const std::string& path, const ChildProcess::Parent& parent) {
  std::string sql = parent.Hear();
  Database database(path);
  for (; !sql.empty(); sql = parent.Hear()) {
    if (sql == "later") {
      std::this_thread::sleep_for(std::chrono::milliseconds(500));
      sql = "ROLLBACK";
    }
    database.Run(sql);
    parent.Tell("done");
  }
  return 0;
}

}  // namespace

LockedFile::LockedFile(const std::string& path)
    : m_other([path](const ChildProcess::Parent& parent) { return RunAll(path, parent); }) {}

void LockedFile::Take(const std::string& statements) {
  m_other.Say(statements);
  if (m_other.Hear() != "done") throw std::runtime_error("the file can't be locked");
}

void LockedFile::Release() {
  m_other.Say("ROLLBACK");
  if (m_other.Hear() != "done") throw std::runtime_error("the file can't be released");
}

void LockedFile::ReleaseInAMoment() { m_other.Say("later"); }

}  // namespace test
