#include <atomic>
#include <thread>
#include <vector>

#include "tests/host/push/JournalFixture.h"

namespace test {
namespace {

using host::JournalTable;

/// Several telephones share a database.
class JournalPostgresTest : public JournalTest {
 protected:
  /// Retries while the database is busy, as the journal does.
  void writeAs(const std::string& run, const host::JournalEntry& entry) const {
    JournalTable table(connection(), run, 1000);
    for (bool written = false; !written;) {
      try {
        table.write({entry});
        written = true;
      } catch (const host::PhoneBookError& error) {
        ASSERT_EQ(error.kind(), host::PhoneBookError::Kind::kBusy) << error.what();
      }
    }
  }
};

TEST_F(JournalPostgresTest, CreatesOneTableWhenTelephonesStartAtTheSameTime) {
  for (int round = 0; round < 10; ++round) {
    std::vector<std::thread> telephones;
    for (int i = 0; i < 8; ++i)
      telephones.emplace_back([this, i] { writeAs("run" + std::to_string(i), entry(1)); });
    for (std::thread& telephone : telephones) telephone.join();
    EXPECT_EQ(m_place->Sql("SELECT COUNT(*) FROM phonebook_journal"), "8");
    m_place->Sql("DROP TABLE phonebook_journal");
  }
}

TEST_F(JournalPostgresTest, StoresTextAsBytes) {
  openBook();
  begin().put(entry(1));
  m_journal.reset();
  EXPECT_EQ(m_place->Sql("SELECT convert_from(peer, 'UTF8'), size FROM phonebook_journal"),
            "66:77:88:99:AA:BB|99");
}

}  // namespace
}  // namespace test
