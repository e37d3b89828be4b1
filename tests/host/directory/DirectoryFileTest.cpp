#include <sys/stat.h>

#include "tests/host/directory/DirectoryFixture.h"
#include "tests/host/directory/Mounts.h"
#include "tests/host/directory/SqliteFile.h"

namespace test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

/// A phonebook in a file.
class DirectoryFileTest : public DirectoryTest {};

TEST_F(DirectoryFileTest, MakesFileAndLogReadableByTheOwnerOnly) {
  StoreNamed("private");
  for (const char* suffix : {"", "-wal", "-shm"}) {
    struct stat status = {};
    ASSERT_EQ(::stat((Path() + suffix).c_str(), &status), 0) << suffix;
    EXPECT_EQ(status.st_mode & 0777u, 0600u) << suffix;
  }
}

TEST_F(DirectoryFileTest, KeepsTheFileCompleteWithoutTheLog) {
  for (const char* name : {"a", "b", "c"}) StoreNamed(name);
  WriteFile(m_folder + "/copy.db", ReadFile(Path()));
  EXPECT_EQ(Database(m_folder + "/copy.db").Run("SELECT surname FROM entries"), "abc");
}

TEST_F(DirectoryFileTest, StoresWhileAnotherProgramReads) {
  StoreNamed("before");
  Database reader(Path());
  reader.Run("BEGIN; SELECT COUNT(*) FROM entries");
  StoreNamed("during");
  EXPECT_EQ(reader.Run("SELECT surname FROM entries"), "before");
  reader.Run("COMMIT");
  EXPECT_EQ(reader.Run("SELECT surname FROM entries"), "beforeduring");
}

TEST_F(DirectoryFileTest, UsesAWriteAheadLog) {
  StoreNamed("Doe");
  EXPECT_EQ(Sql("PRAGMA journal_mode"), "wal");
  EXPECT_EQ(Sql("SELECT surname FROM entries"), "Doe");
}

TEST_F(DirectoryFileTest, ReadsValuesThatWereWrittenByHand) {
  StoreNamed("a");
  Sql("INSERT INTO entries (surname, office) VALUES (CAST(x'410042' AS TEXT), 12)");
  Sql("INSERT INTO entries (surname) VALUES (x'43FF')");
  EXPECT_THAT(Surnames(), ::testing::ElementsAre("a",
                                                 "A\xEF\xBF\xBD"
                                                 "B",
                                                 "C\xFF"));
}

TEST_F(DirectoryFileTest, OverwritesDeletedEntries) {
  const std::string id = Store({{Column::kSurname, "Zyzzogeton"}});
  StoreNamed("other");
  ASSERT_THAT(ReadFile(Path()), HasSubstr("Zyzzogeton"));
  ExpectDeleted(id);
  EXPECT_THAT(ReadFile(Path()), Not(HasSubstr("Zyzzogeton")));
  EXPECT_THAT(ReadFile(Path() + "-wal"), Not(HasSubstr("Zyzzogeton")));
}

TEST_F(DirectoryFileTest, RefusesChangesWhileAnotherProgramWrites) {
  LockedFile lock(Path());
  const std::string id = Store({{Column::kSurname, "Doe"}});
  lock.Take("BEGIN IMMEDIATE");
  ExpectNotDeleted(id, "is locked by another program");
  ExpectNotUpdated(id, {{Column::kSurname, kSecret}}, "is locked by another program");
  EXPECT_THAT(Surnames(), ElementsAre("Doe"));
  lock.Release();
  ExpectUpdated(id, {{Column::kSurname, "Roe"}});
  ExpectDeleted(id);
}

TEST_F(DirectoryFileTest, FailsOnAReadOnlyDisk) {
  if (!MayMount()) GTEST_SKIP() << "needs the right to mount";
  const MemoryDisk disk(Folder(), 4 << 20);
  const std::string id = Store({{Column::kSurname, "Doe"}});
  Close();
  disk.MakeReadOnly();
  EXPECT_THAT(OpeningProblem(), HasSubstr("Read-only file system"));
  disk.MakeWritable();
  Open();
  ExpectUpdated(id, {{Column::kSurname, "Roe"}});
}

TEST_F(DirectoryFileTest, KeepsTheEntryWhenAnUpdateFailsOnAFullDisk) {
  if (!MayMount()) GTEST_SKIP() << "needs the right to mount";
  const MemoryDisk disk(Folder(), 4 << 20);
  const std::string id = Store({{Column::kSurname, "Doe"}});
  disk.Fill();
  const std::string big(std::size_t{1} << 20, 'x');
  ExpectNotUpdated(id, {{Column::kSurname, big}}, "is full");
  EXPECT_THAT(Surnames(), ElementsAre("Doe"));
  disk.Empty();
  ExpectUpdated(id, {{Column::kSurname, big}});
  EXPECT_THAT(Surnames(), ElementsAre(big));
}

}  // namespace
}  // namespace test
