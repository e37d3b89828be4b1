#include "host/journal/Journal.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>

#include "host/directory/PhoneBook.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/WaitFor.h"
#include "tests/tools/Program.h"

namespace {

using host::Journal;
using host::JournalEntry;
using testing::HasSubstr;

class JournalTest : public testing::Test {
 protected:
  std::string connection() const { return "sqlite3://" + m_folder.file("book.db"); }
  void openBook() {
    m_book = std::make_unique<host::PhoneBook>(host::PhoneBookOptions{connection()});
  }
  Journal& begin(long long rows = 10000, std::size_t waiting = 1000) {
    m_journal = std::make_unique<Journal>(connection(), Journal::Limits{rows, waiting});
    m_journal->start();
    return *m_journal;
  }
  static JournalEntry entry(long long number, const std::string& book = "stored") {
    JournalEntry entry;
    entry.number = number;
    entry.time = 1700000000000 + number;
    entry.peer = "66:77:88:99:AA:BB";
    entry.peerName = "Anna's \"phone\"";
    entry.object = "card.vcf";
    entry.size = 99;
    entry.link = "taken";
    entry.book = book;
    return entry;
  }

  test::TestFolder m_folder;
  std::unique_ptr<host::PhoneBook> m_book;
  std::unique_ptr<Journal> m_journal;
};

}  // namespace

TEST_F(JournalTest, WhatIsPutIsRead) {
  openBook();
  Journal& journal = begin();
  journal.put(entry(1));
  ASSERT_EQ(journal.read(10).size(), 1U);
  EXPECT_EQ(journal.read(10).front(), entry(1));
}

TEST_F(JournalTest, TheNewestComesFirst) {
  openBook();
  Journal& journal = begin();
  for (int i = 1; i <= 5; ++i) journal.put(entry(i));
  const auto entries = journal.read(2);
  ASSERT_EQ(entries.size(), 2U);
  EXPECT_EQ(entries[0].number, 5);
  EXPECT_EQ(entries[1].number, 4);
}

TEST_F(JournalTest, AnEntryIsReplacedByItsNumber) {
  openBook();
  Journal& journal = begin();
  journal.put(entry(1, "waiting"));
  journal.put(entry(2));
  journal.read(10);
  journal.put(entry(1, "rejected"));
  const auto entries = journal.read(10);
  ASSERT_EQ(entries.size(), 2U);
  EXPECT_EQ(entries[1].book, "rejected");
}

TEST_F(JournalTest, TheOldestGoWhenThereAreTooMany) {
  openBook();
  Journal& journal = begin(3);
  for (int i = 1; i <= 10; ++i) journal.put(entry(i));
  const auto entries = journal.read(100);
  ASSERT_EQ(entries.size(), 3U);
  EXPECT_EQ(entries.back().number, 8);
}

TEST_F(JournalTest, TextsOfAnyBytesAreKept) {
  openBook();
  Journal& journal = begin();
  JournalEntry odd = entry(1);
  odd.object = "\xff'; DROP TABLE entries; --\n\x01";
  journal.put(odd);
  EXPECT_EQ(journal.read(1).front().object, odd.object);
}

TEST_F(JournalTest, StaysWhenTheTelephoneEnds) {
  openBook();
  begin().put(entry(1));
  m_journal.reset();
  EXPECT_EQ(begin().read(10).size(), 1U);
}

TEST_F(JournalTest, ThePhonebookKeepsItsEntriesBesideIt) {
  openBook();
  begin().put(entry(1));
  m_journal.reset();
  m_book->write({{host::Column::Surname, "Berg"}});
  openBook();
  int count = 0;
  m_book->read({host::Column::Surname}, {}, [&](const auto&) { ++count; });
  EXPECT_EQ(count, 1);
}

TEST_F(JournalTest, APhonebookCanBeginWhereTheJournalIsAlready) {
  begin().put(entry(1));
  m_journal.reset();
  EXPECT_NO_THROW(openBook());
}

TEST_F(JournalTest, EntriesThatWaitedWhenATelephoneWasKilledAreLost) {
  openBook();
  host::JournalTable killed(connection(), "", 10);
  killed.write({entry(1, "waiting")});
  host::JournalTable other(connection(), "another machine/boot/1/2", 10);
  other.write({entry(1, "waiting")});
  // A run without a name can't be told from others, so it is left; one of this machine is not.
  const std::string machine = [] {
    std::string line;
    std::ifstream file("/etc/machine-id");
    std::getline(file, line);
    return line;
  }();
  host::JournalTable ended(connection(), machine + "/boot/999999999/1", 10);
  ended.write({entry(7, "waiting")});
  Journal& journal = begin();
  ASSERT_TRUE(test::waitFor([&] { return journal.read(1).front().book == host::kBookLost; }));
  EXPECT_EQ(journal.read(3).at(1).book, "waiting");
}

TEST_F(JournalTest, WhatCannotBeWrittenWaitsAndIsToldOnce) {
  openBook();
  const test::LogRecorder log;
  std::filesystem::create_directory(m_folder.file("away"));
  m_book.reset();
  std::filesystem::rename(m_folder.file("book.db"), m_folder.file("away/book.db"));
  std::filesystem::create_directory(m_folder.file("book.db"));
  Journal& journal = begin();
  journal.put(entry(1));
  ASSERT_TRUE(test::waitFor([&] { return !log.texts(kLogError).empty(); }));
  EXPECT_THAT(log.texts(kLogError).front(), HasSubstr("the journal can't be written"));
  EXPECT_THROW(journal.read(1), host::PhoneBookError);
  std::filesystem::remove(m_folder.file("book.db"));
  std::filesystem::rename(m_folder.file("away/book.db"), m_folder.file("book.db"));
  EXPECT_EQ(journal.read(1).size(), 1U);
}

TEST_F(JournalTest, TooManyThatWaitAreDroppedAndCounted) {
  openBook();
  const test::LogRecorder log;
  m_journal = std::make_unique<Journal>(connection(), Journal::Limits{100, 3});
  for (int i = 1; i <= 5; ++i) m_journal->put(entry(i));
  EXPECT_EQ(m_journal->read(10).size(), 3U);
  EXPECT_THAT(log.texts(kLogError).front(), HasSubstr("lost 2 lines"));
}
