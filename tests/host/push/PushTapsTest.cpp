#include "host/push/PushTaps.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>

#include "host/directory/DirectoryClient.h"
#include "host/directory/DirectoryService.h"
#include "tests/tools/Program.h"

namespace {

using host::DirectoryClient;
using host::JournalEntry;
using testing::HasSubstr;
using testing::StartsWith;

/// A phonebook with room for one entry.
class DirectoryTapTest : public testing::Test {
 protected:
  static host::PhoneBookOptions options(const std::string& file) {
    host::PhoneBookOptions options;
    options.connection = "sqlite3://" + file;
    options.maxEntries = 1;
    return options;
  }
  /// What the service does with each card of a batch.
  void store(const std::string& surname) {
    const std::vector<host::ColumnValue> entry = {{host::Column::kSurname, surname}};
    const std::string found =
        m_tap.handleRequest(DirectoryClient::matchRequest({host::Column::kSurname}, entry));
    if (DirectoryClient::parseAnswer(found).entries.empty())
      m_tap.handleRequest(DirectoryClient::writeRequest(entry));
  }
  void acceptCardsOf(const std::vector<std::string>& surnames) {
    m_tracker.admit("66:77:88:99:AA:BB", "", false);
    for (const std::string& surname : surnames) {
      m_tracker.object(surname + ".vcf", 1);
      m_tracker.offered();
      m_tracker.answered(0x02, 0x20);
    }
    m_tracker.accepting();
    for (const std::string& surname : surnames) store(surname);
    m_tracker.accepted();
  }

  test::TestFolder m_folder;
  host::DirectoryService m_directory{options(m_folder.file("book.db"))};
  std::map<long long, JournalEntry> m_journal;
  host::PushTracker m_tracker{
      [this](const JournalEntry& entry) { m_journal[entry.number] = entry; }};
  host::DirectoryTap m_tap{m_directory, m_tracker};
};

}  // namespace

TEST_F(DirectoryTapTest, ReportsTheOutcomeOfEachCard) {
  acceptCardsOf({"Berg", "Berg", "Carl"});
  EXPECT_EQ(m_journal[1].book, "stored");
  EXPECT_EQ(m_journal[2].book, "there already");
  EXPECT_THAT(m_journal[3].book, StartsWith("not stored: "));
  EXPECT_THAT(m_journal[3].book, HasSubstr("full"));
}

TEST_F(DirectoryTapTest, IgnoresKeywordsInTheCardsText) {
  acceptCardsOf({"failure <Entry> write_request"});
  EXPECT_EQ(m_journal[1].book, "stored");
}

TEST_F(DirectoryTapTest, ReportsAClosedPhonebook) {
  m_directory.shutdown();
  m_tracker.admit("66:77:88:99:AA:BB", "", false);
  m_tracker.object("Berg.vcf", 1);
  m_tracker.offered();
  m_tracker.answered(0x02, 0x20);
  m_tracker.accepting();
  m_tap.handleRequest(
      DirectoryClient::matchRequest({host::Column::kSurname}, {{host::Column::kSurname, "Berg"}}));
  m_tap.handleRequest(DirectoryClient::writeRequest({{host::Column::kSurname, "Berg"}}));
  m_tracker.accepted();
  EXPECT_THAT(m_journal[1].book, HasSubstr("closed"));
}
