#pragma once

#include <memory>
#include <string>

namespace test {

/// A test's own database, removed with the object. Each test program links one implementation.
class BookPlace {
 public:
  virtual ~BookPlace() = default;
  BookPlace(const BookPlace&) = delete;
  BookPlace& operator=(const BookPlace&) = delete;

  virtual std::string Connection() const = 0;
  /// Runs SQL, bypassing the code under test, and returns all values, concatenated.
  virtual std::string Sql(const std::string& sql) const = 0;

 protected:
  BookPlace() = default;
};

/// `path` is that of the file, if the database is one.
std::unique_ptr<BookPlace> MakeBookPlace(const std::string& path);

}  // namespace test
