#include "tests/host/directory/Database.h"

#include <sqlite3.h>

#include <stdexcept>

namespace test {

namespace {

int Keep(void* result, int columns, char** values, char**) {
  for (int i = 0; i < columns; ++i)
    static_cast<std::string*>(result)->append(values[i] == nullptr ? "NULL" : values[i]);
  return 0;
}

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

}  // namespace test
