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

/// A value that no answer to a write may contain.
inline constexpr const char* kSecret = "Zyzzogeton failure";

/// Escapes a text as the telephone's card reader does.
std::string Escaped(const std::string& text);
/// A write request with this content of Entry.
std::string WriteOf(const std::string& elements);
/// A request of this kind ("update" or "delete") with this content of Entry.
std::string ChangeOf(const std::string& kind, const std::string& elements);
/// A read request for Surname and Firstname with this content of Entry.
std::string ReadOf(const std::string& elements);

/// A Directory Service with a database of its own. A file is in the folder `Folder()`.
class DirectoryTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  std::string Path() const { return m_folder + "/state/phonebook.db"; }
  std::string Folder() const { return m_folder + "/state"; }
  std::string Connection() const { return m_place->Connection(); }
  /// With a short timeout, for tests that expect to be locked out.
  host::PhoneBookOptions Options() const;

  void Open();
  void Close();
  void Restart();
  std::string Ask(const std::string& request);
  DirectoryAnswer Parsed(const std::string& request);
  /// Writes an entry, expects success, and returns its Id.
  std::string Store(const Values& values);
  void StoreNamed(const std::string& surname);
  /// The surnames of all entries, in the phonebook's order.
  std::vector<std::string> Surnames();
  std::vector<DirectoryEntry> Matching(const Values& match);
  /// The request fails with a reason that contains this text.
  void ExpectFailure(const std::string& request, const std::string& reason);
  /// A write fails with a reason that contains this text and echoes no value.
  void ExpectNotStored(const std::string& reason);
  /// The change succeeds and is answered with the Id.
  void ExpectUpdated(const std::string& id, const Values& texts);
  void ExpectDeleted(const std::string& id);
  void ExpectNotUpdated(const std::string& id, const Values& texts, const std::string& reason);
  void ExpectNotDeleted(const std::string& id, const std::string& reason);
  /// The error of opening the phonebook; empty on success.
  std::string OpeningProblem() const;
  std::string OpeningProblem(const host::PhoneBookOptions& options) const;
  /// Result of PhoneBook::exists: "there", "missing" or the error.
  std::string Existence() const;

  /// Runs SQL on the database, bypassing the service.
  std::string Sql(const std::string& sql) const;

  std::string m_folder;
  std::unique_ptr<BookPlace> m_place;
  std::unique_ptr<host::DirectoryService> m_service;
};

std::string ReadFile(const std::string& path);
void WriteFile(const std::string& path, const std::string& bytes);

}  // namespace test
