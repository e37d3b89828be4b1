#include <filesystem>

#include "tests/host/push/JournalFixture.h"

namespace test {
namespace {

using host::Journal;
using testing::HasSubstr;

TEST_F(JournalTest, RetriesWhatCannotBeWrittenAndLogsItOnce) {
  openBook();
  const LogRecorder log;
  std::filesystem::create_directory(m_folder.file("away"));
  m_book.reset();
  std::filesystem::rename(m_folder.file("book.db"), m_folder.file("away/book.db"));
  std::filesystem::create_directory(m_folder.file("book.db"));
  Journal& journal = begin();
  journal.put(entry(1));
  ASSERT_TRUE(waitFor([&] { return !log.texts(kLogError).empty(); }));
  EXPECT_THAT(log.texts(kLogError).front(), HasSubstr("the journal can't be written"));
  EXPECT_THROW(journal.read(1), host::PhoneBookError);
  std::filesystem::remove(m_folder.file("book.db"));
  std::filesystem::rename(m_folder.file("away/book.db"), m_folder.file("book.db"));
  EXPECT_EQ(journal.read(1).size(), 1U);
}

}  // namespace
}  // namespace test
