#include <fstream>

#include "tests/host/push/JournalFixture.h"

namespace test {
namespace {

using host::Journal;
using host::JournalEntry;
using testing::HasSubstr;

TEST_F(JournalTest, ReadsWhatWasPut) {
  openBook();
  Journal& journal = begin();
  journal.put(entry(1));
  ASSERT_EQ(journal.read(10).size(), 1U);
  EXPECT_EQ(journal.read(10).front(), readEntry(1));
}

TEST_F(JournalTest, ReadsTheNewestFirst) {
  openBook();
  Journal& journal = begin();
  for (int i = 1; i <= 5; ++i) journal.put(entry(i));
  const auto entries = journal.read(2);
  ASSERT_EQ(entries.size(), 2U);
  EXPECT_EQ(entries[0].number, 5);
  EXPECT_EQ(entries[1].number, 4);
}

TEST_F(JournalTest, ReplacesAnEntryOfTheSameNumber) {
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

TEST_F(JournalTest, DeletesTheOldestBeyondItsLimit) {
  openBook();
  Journal& journal = begin(3);
  for (int i = 1; i <= 10; ++i) journal.put(entry(i));
  const auto entries = journal.read(100);
  ASSERT_EQ(entries.size(), 3U);
  EXPECT_EQ(entries.back().number, 8);
}

TEST_F(JournalTest, KeepsTextOfAnyBytes) {
  openBook();
  Journal& journal = begin();
  JournalEntry odd = entry(1);
  odd.object = "\xff'; DROP TABLE entries; --\n\x01";
  journal.put(odd);
  EXPECT_EQ(journal.read(1).front().object, odd.object);
}

TEST_F(JournalTest, KeepsEntriesOfEarlierRuns) {
  openBook();
  begin().put(entry(1));
  m_journal.reset();
  EXPECT_EQ(begin().read(10).size(), 1U);
}

TEST_F(JournalTest, SharesTheDatabaseWithAPhonebook) {
  openBook();
  begin().put(entry(1));
  m_journal.reset();
  m_book->write({{host::Column::kSurname, "Berg"}});
  openBook();
  int count = 0;
  m_book->read({host::Column::kSurname}, {}, [&](const auto&) { ++count; });
  EXPECT_EQ(count, 1);
}

TEST_F(JournalTest, LetsAPhonebookUseItsDatabaseLater) {
  begin().put(entry(1));
  m_journal.reset();
  EXPECT_NO_THROW(openBook());
}

TEST_F(JournalTest, MarksWaitingCardsOfEndedRunsAsLost) {
  openBook();
  host::JournalTable killed(connection(), "", 10);
  killed.write({entry(1, "waiting")});
  host::JournalTable other(connection(), "another machine/boot/1/2", 10);
  other.write({entry(1, "waiting")});
  // A run without an id may still be running, so its entry stays; one of this machine is settled.
  const std::string machine = [] {
    std::string line;
    std::ifstream file("/etc/machine-id");
    std::getline(file, line);
    return line;
  }();
  host::JournalTable ended(connection(), machine + "/boot/999999999/1", 10);
  ended.write({entry(7, "waiting")});
  Journal& journal = begin();
  ASSERT_TRUE(waitFor([&] { return journal.read(1).front().book == host::kBookLost; }));
  EXPECT_EQ(journal.read(3).at(1).book, "waiting");
}

TEST_F(JournalTest, DropsAndCountsEntriesWhenTooManyWait) {
  openBook();
  const LogRecorder log;
  m_journal = std::make_unique<Journal>(connection(), Journal::Limits{100, 3});
  for (int i = 1; i <= 5; ++i) m_journal->put(entry(i));
  EXPECT_EQ(m_journal->read(10).size(), 3U);
  EXPECT_THAT(log.texts(kLogError).front(), HasSubstr("lost 2 entries"));
}

TEST_F(JournalTest, TellsWhichTelephoneAnEntryIsOf) {
  openBook();
  host::JournalTable other(connection(), "machine/boot/1/2/anna@kiosk/2", 10);
  other.write({entry(1)});
  Journal& journal = begin();
  journal.put(entry(1));
  const auto entries = journal.read(10);
  ASSERT_EQ(entries.size(), 2U);
  EXPECT_EQ(entries[0], readEntry(1));
  EXPECT_EQ(entries[1].phone, "anna@kiosk/2");
}

TEST_F(JournalTest, ReadsEntriesWithoutATelephone) {
  openBook();
  host::JournalTable earlier(connection(), "machine/boot/1/2", 10);
  earlier.write({entry(1)});
  EXPECT_EQ(begin().read(1).front().phone, "");
}

}  // namespace
}  // namespace test
