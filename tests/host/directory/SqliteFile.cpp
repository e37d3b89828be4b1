#include "tests/host/directory/SqliteFile.h"

#include <sqlite3.h>

#include <chrono>
#include <stdexcept>
#include <thread>

#include "tests/host/directory/BookPlace.h"

namespace test {

namespace {

int Keep(void* result, int columns, char** values, char**) {
  for (int i = 0; i < columns; ++i)
    static_cast<std::string*>(result)->append(values[i] == nullptr ? "NULL" : values[i]);
  return 0;
}

// Runs the statements that the parent sends, until it ends.
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

class SqlitePlace : public BookPlace {
 public:
  explicit SqlitePlace(std::string path) : m_path(std::move(path)) {}
  std::string Connection() const override { return "sqlite3://" + m_path; }
  std::string Sql(const std::string& sql) const override { return Database(m_path).Run(sql); }

 private:
  const std::string m_path;
};

}  // namespace

Database::Database(const std::string& path) {
  const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
  if (sqlite3_open_v2(path.c_str(), &m_handle, flags, nullptr) != SQLITE_OK)
    throw std::runtime_error("can't open " + path);
  sqlite3_busy_timeout(m_handle, 60000);
}

Database::~Database() { sqlite3_close(m_handle); }

std::string Database::Run(const std::string& sql) {
  std::string result;
  char* problem = nullptr;
  sqlite3_exec(m_handle, sql.c_str(), &Keep, &result, &problem);
  if (problem == nullptr) return result;
  const std::string reason = problem;
  sqlite3_free(problem);
  throw std::runtime_error(reason);
}

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

std::unique_ptr<BookPlace> MakeBookPlace(const std::string& path) {
  return std::make_unique<SqlitePlace>(path);
}

}  // namespace test
