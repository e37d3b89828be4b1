#include "tests/host/directory/BookPlace.h"
#include "tests/host/directory/Database.h"

namespace test {

namespace {

class SqlitePlace : public BookPlace {
 public:
  explicit SqlitePlace(std::string path) : m_path(std::move(path)) {}
  std::string Connection() const override { return "sqlite3://" + m_path; }
  std::string Sql(const std::string& sql) const override { return Database(m_path).Run(sql); }

 private:
  const std::string m_path;
};

}  // namespace

std::unique_ptr<BookPlace> MakeBookPlace(const std::string& path) {
  return std::make_unique<SqlitePlace>(path);
}

}  // namespace test
