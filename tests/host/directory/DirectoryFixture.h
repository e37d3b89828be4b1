#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "host/directory/DirectoryClient.h"
#include "host/directory/DirectoryService.h"
#include "host/directory/PhoneBook.h"
#include "tests/host/directory/BookPlace.h"

namespace test {

using host::Column;
using host::ColumnValue;
using host::DirectoryAnswer;
using host::DirectoryEntry;
using Values = std::vector<ColumnValue>;

/// A value that no answer to a write may hold.
inline constexpr const char* kSecret = "Zyzzogeton failure";

/// The text as the telephone's card reader writes it into a request.
std::string Escaped(const std::string& text);
/// A write request for this text between <Entry> and </Entry>.
std::string WriteOf(const std::string& elements);
/// A request of this kind ("update", "delete") for this text between <Entry> and </Entry>.
std::string ChangeOf(const std::string& kind, const std::string& elements);
/// A read request for the Surname and Firstname of what matches this text.
std::string ReadOf(const std::string& elements);

/// The Directory Service over a database of the test's own, in a folder of its own where it is a
/// file.
class DirectoryTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  std::string Path() const { return m_folder + "/state/phonebook.db"; }
  std::string Folder() const { return m_folder + "/state"; }
  std::string Connection() const { return m_place->Connection(); }
  /// With a time-out that suits a test that expects to be locked out.
  host::PhoneBookOptions Options() const;

  void Open();
  void Close();
  void Restart();
  std::string Ask(const std::string& request);
  DirectoryAnswer Parsed(const std::string& request);
  /// Writes an entry, which has to work, and returns its Id.
  std::string Store(const Values& values);
  void StoreNamed(const std::string& surname);
  /// The surnames of all entries, in the order they are read.
  std::vector<std::string> Surnames();
  std::vector<DirectoryEntry> Matching(const Values& match);
  /// That the request is refused with a reason that holds this text.
  void ExpectFailure(const std::string& request, const std::string& reason);
  /// That an entry can't be written for a reason that holds this text, and no value is told.
  void ExpectNotStored(const std::string& reason);
  /// That a change is done, and answered with its Id.
  void ExpectUpdated(const std::string& id, const Values& texts);
  void ExpectDeleted(const std::string& id);
  void ExpectNotUpdated(const std::string& id, const Values& texts, const std::string& reason);
  void ExpectNotDeleted(const std::string& id, const std::string& reason);
  /// What opening the file says; empty when it works.
  std::string OpeningProblem() const;
  std::string OpeningProblem(const host::PhoneBookOptions& options) const;
  /// What a look at it says: "there", "missing", or why it can't be opened.
  std::string Look() const;

  /// Runs SQL on the database with nothing of the program in between.
  std::string Sql(const std::string& sql) const;

  std::string m_folder;
  std::unique_ptr<BookPlace> m_place;
  std::unique_ptr<host::DirectoryService> m_service;
};

std::string ReadFile(const std::string& path);
void WriteFile(const std::string& path, const std::string& bytes);

}  // namespace test
