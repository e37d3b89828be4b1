#include <atomic>

#include "tests/host/directory/BookPlace.h"
#include "tests/host/directory/PostgresServer.h"

namespace test {

namespace {

class PostgresPlace : public BookPlace {
 public:
  PostgresPlace() {
    static std::atomic<int> count{0};
    m_database = "book" + std::to_string(++count);
    PostgresServer::Get().Sql("postgres", "CREATE DATABASE " + m_database);
  }
  ~PostgresPlace() override {
    PostgresServer::Get().Sql("postgres", "DROP DATABASE " + m_database + " WITH (FORCE)");
  }
  std::string Connection() const override { return PostgresServer::Get().Connection(m_database); }
  std::string Sql(const std::string& sql) const override {
    return PostgresServer::Get().Sql(m_database, sql);
  }

 private:
  std::string m_database;
};

}  // namespace

std::unique_ptr<BookPlace> MakeBookPlace(const std::string&) {
  return std::make_unique<PostgresPlace>();
}

}  // namespace test
