#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "tests/host/directory/ChildProcess.h"
#include "tests/host/directory/DirectoryFixture.h"
#include "tests/host/directory/Mounts.h"
#include "tests/host/directory/SqliteFile.h"

namespace test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

class DirectoryOpeningTest : public DirectoryTest {
 protected:
  /// Opening fails, and so does PhoneBook::exists.
  void ExpectNotOpened(const std::string& reason) const {
    const std::string seen = Existence();
    EXPECT_EQ(seen, ExpectNotOpenedNow(reason));
  }
  /// Opening fails for a reason that PhoneBook::exists ignores: a lock or a full disk.
  std::string ExpectNotOpenedNow(const std::string& reason) const {
    const std::string problem = OpeningProblem();
    EXPECT_THAT(problem, HasSubstr(reason));
    EXPECT_THAT(problem, HasSubstr(m_folder));
    EXPECT_EQ(problem.back(), '.');
    return problem;
  }
  void ExpectNotOpenedAs(const std::string& connection, const std::string& reason) const {
    host::PhoneBookOptions options = Options();
    options.connection = connection;
    EXPECT_THAT(OpeningProblem(options), HasSubstr(reason));
  }
  /// Makes a phonebook with enough entries for pages of every kind, and closes it.
  void MakePhonebook() {
    for (int i = 0; i < 20; ++i)
      Store({{Column::kSurname, "a"}, {Column::kEmail, std::string(9000, 'x')}});
    Close();
  }
  /// OpeningProblem() for a user other than root.
  std::string ProblemOfOrdinaryUser() const {
    ::chmod(m_folder.c_str(), 0755);
    ChildProcess child([this](const ChildProcess::Parent& parent) {
      if (!BecomeOrdinaryUser()) return 1;
      parent.Tell(OpeningProblem());
      return 0;
    });
    const std::string problem = child.Hear();
    EXPECT_EQ(child.Join(), 0);
    return problem;
  }
};

TEST_F(DirectoryOpeningTest, CreatesMissingFoldersForTheOwnerOnly) {
  host::PhoneBookOptions options = Options();
  options.connection = "sqlite3://" + m_folder + "/new one/and/another/phone=book.db";
  EXPECT_EQ(OpeningProblem(options), "");
  EXPECT_TRUE(std::filesystem::exists(m_folder + "/new one/and/another/phone=book.db"));
  struct stat status = {};
  ASSERT_EQ(::stat((m_folder + "/new one").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777u, 0700u);
}

TEST_F(DirectoryOpeningTest, ResolvesARelativePathInTheWorkingDirectory) {
  ChildProcess child([this](const ChildProcess::Parent&) {
    if (::chdir(m_folder.c_str()) != 0) return 1;
    host::PhoneBookOptions options = Options();
    options.connection = "sqlite3://here/book.db";
    return OpeningProblem(options).empty() ? 0 : 2;
  });
  EXPECT_EQ(child.Join(), 0);
  EXPECT_TRUE(std::filesystem::exists(m_folder + "/here/book.db"));
}

TEST_F(DirectoryOpeningTest, FailsForAnUnknownDatabase) {
  for (const char* connection : {"", "sqlite3://", "sqlite3:", "/tmp/book.db", "mysql://dbname=x"})
    ExpectNotOpenedAs(connection, "write sqlite3:///path/to/phonebook.db");
}

TEST_F(DirectoryOpeningTest, TurnsAnEmptyFileIntoAPhonebook) {
  WriteFile(Path(), "");
  StoreNamed("Doe");
  EXPECT_THAT(Surnames(), ElementsAre("Doe"));
}

TEST_F(DirectoryOpeningTest, LeavesAFileOfAnotherKindAlone) {
  const std::string text(5000, 'x');
  WriteFile(Path(), text);
  ExpectNotOpened("is not a phonebook: the file contains something else");
  EXPECT_EQ(ReadFile(Path()), text);
}

TEST_F(DirectoryOpeningTest, LeavesADatabaseOfAnotherProgramAlone) {
  Sql("CREATE TABLE bookmarks (url TEXT)");
  ExpectNotOpened("is not a phonebook: it contains other tables");
  EXPECT_EQ(Sql("SELECT name FROM sqlite_master"), "bookmarks");
}

TEST_F(DirectoryOpeningTest, LeavesAPhonebookOfANewerVersionAlone) {
  MakePhonebook();
  Sql("UPDATE phonebook_version SET version = 2");
  ExpectNotOpened("was created by a newer version of this program");
  EXPECT_EQ(Sql("SELECT version FROM phonebook_version"), "2");
}

TEST_F(DirectoryOpeningTest, FailsWithoutAVersion) {
  MakePhonebook();
  Sql("DELETE FROM phonebook_version");
  ExpectNotOpened("has no known version");
}

TEST_F(DirectoryOpeningTest, FailsWhenTheFileHeaderIsDamaged) {
  MakePhonebook();
  std::string bytes = ReadFile(Path());
  bytes.replace(0, 16, 16, 'x');
  WriteFile(Path(), bytes);
  ExpectNotOpened("is not a phonebook");
}

TEST_F(DirectoryOpeningTest, FailsWhenEveryPageIsDamaged) {
  MakePhonebook();
  std::string bytes = ReadFile(Path());
  for (std::size_t at = 4096; at < bytes.size(); at += 4096) bytes.replace(at, 100, 100, '\xAA');
  WriteFile(Path(), bytes);
  ExpectNotOpened("is damaged");
}

TEST_F(DirectoryOpeningTest, FailsWhenOnePageIsDamaged) {
  MakePhonebook();
  std::string bytes = ReadFile(Path());
  bytes.replace(bytes.size() - 3 * 4096, 4096, 4096, '\xAA');
  WriteFile(Path(), bytes);
  ExpectNotOpened("is damaged");
}

TEST_F(DirectoryOpeningTest, FailsWhenTheFileIsTruncated) {
  MakePhonebook();
  const std::string bytes = ReadFile(Path());
  WriteFile(Path(), bytes.substr(0, bytes.size() / 2));
  ExpectNotOpened("is damaged");
}

TEST_F(DirectoryOpeningTest, IgnoresAnInvalidLog) {
  MakePhonebook();
  WriteFile(Path() + "-wal", std::string(100000, 'x'));
  EXPECT_EQ(OpeningProblem(), "");
  EXPECT_EQ(Surnames().size(), 20u);
}

TEST_F(DirectoryOpeningTest, FailsWhenTheFileIsAFolder) {
  std::filesystem::create_directory(Path());
  ExpectNotOpened("is not a file");
}

TEST_F(DirectoryOpeningTest, FailsWhenAFolderOfThePathIsAFile) {
  WriteFile(m_folder + "/file", "");
  ExpectNotOpenedAs("sqlite3://" + m_folder + "/file/book.db", "Not a directory");
  ExpectNotOpenedAs("sqlite3://" + m_folder + "/file/folder/book.db", "Not a directory");
}

TEST_F(DirectoryOpeningTest, FailsForAPathWithAQuotationMark) {
  ExpectNotOpenedAs("sqlite3://" + m_folder + "/a\"b.db", "quotation mark");
}

TEST_F(DirectoryOpeningTest, FailsWithoutWriteAccessToTheFolder) {
  MakePhonebook();
  ::chmod(Folder().c_str(), 0755);
  ::chmod(Path().c_str(), 0666);
  EXPECT_THAT(ProblemOfOrdinaryUser(), HasSubstr("Permission denied"));
}

TEST_F(DirectoryOpeningTest, FailsWithoutPermissionToCreateTheFolder) {
  std::filesystem::remove(Folder());
  EXPECT_THAT(ProblemOfOrdinaryUser(), HasSubstr("can't be created: Permission denied"));
}

TEST_F(DirectoryOpeningTest, FailsWithoutWriteAccessToTheFile) {
  MakePhonebook();
  ::chmod(Folder().c_str(), 0777);
  ::chmod(Path().c_str(), 0444);
  EXPECT_THAT(ProblemOfOrdinaryUser(), HasSubstr("can't be read and written: Permission denied"));
}

TEST_F(DirectoryOpeningTest, FailsWithoutReadAccessToTheFile) {
  MakePhonebook();
  ::chmod(Folder().c_str(), 0777);
  EXPECT_THAT(ProblemOfOrdinaryUser(), HasSubstr("can't be read and written: Permission denied"));
}

TEST_F(DirectoryOpeningTest, FailsOnAReadOnlyDisk) {
  if (!MayMount()) GTEST_SKIP() << "needs the right to mount";
  const MemoryDisk disk(Folder(), 4 << 20);
  disk.MakeReadOnly();
  ExpectNotOpened("Read-only file system");
  disk.MakeWritable();
  MakePhonebook();
  disk.MakeReadOnly();
  ExpectNotOpened("Read-only file system");
  disk.MakeWritable();
  EXPECT_EQ(OpeningProblem(), "");
}

TEST_F(DirectoryOpeningTest, FailsOnAFullDisk) {
  if (!MayMount()) GTEST_SKIP() << "needs the right to mount";
  const MemoryDisk disk(Folder(), 4 << 20);
  disk.Fill();
  ExpectNotOpenedNow("disk");
  disk.Empty();
  EXPECT_EQ(OpeningProblem(), "");
}

TEST_F(DirectoryOpeningTest, FailsWhenAnotherProgramLocksTheFile) {
  MakePhonebook();
  LockedFile lock(Path());
  lock.Take("PRAGMA journal_mode = DELETE; BEGIN EXCLUSIVE");
  ExpectNotOpenedNow("is locked by another program");
}

TEST_F(DirectoryOpeningTest, WaitsForALock) {
  MakePhonebook();
  LockedFile lock(Path());
  lock.Take("PRAGMA journal_mode = DELETE; BEGIN IMMEDIATE");
  lock.ReleaseInAMoment();
  host::PhoneBookOptions options = Options();
  options.busyTimeout = std::chrono::seconds(60);
  EXPECT_EQ(OpeningProblem(options), "");
}

}  // namespace
}  // namespace test
