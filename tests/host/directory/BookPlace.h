#pragma once

#include <memory>
#include <string>

namespace test {

/// Where a test's phonebook is: a database of its own, gone with the object. Each program of tests
/// has one kind of them.
class BookPlace {
 public:
  virtual ~BookPlace() = default;
  BookPlace(const BookPlace&) = delete;
  BookPlace& operator=(const BookPlace&) = delete;

  virtual std::string Connection() const = 0;
  /// Runs SQL on the database with nothing of the program in between, and returns all the values,
  /// one after the other.
  virtual std::string Sql(const std::string& sql) const = 0;

 protected:
  BookPlace() = default;
};

/// `path` is where a file would be.
std::unique_ptr<BookPlace> MakeBookPlace(const std::string& path);

}  // namespace test
