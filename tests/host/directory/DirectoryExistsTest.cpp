#include <sys/stat.h>

#include <filesystem>
#include <map>

#include "tests/host/directory/ChildProcess.h"
#include "tests/host/directory/DirectoryFixture.h"
#include "tests/host/directory/SqliteFile.h"

namespace test {
namespace {

namespace fs = std::filesystem;

using ::testing::HasSubstr;

/// PhoneBook::exists, which must not change anything.
class DirectoryExistsTest : public DirectoryTest {
 protected:
  /// Contents and modification time of every file and folder of the test.
  std::map<std::string, std::string> Everything() const {
    std::map<std::string, std::string> all;
    all[m_folder] = ChangeOf(m_folder);
    for (const auto& file : fs::recursive_directory_iterator(m_folder))
      all[file.path()] =
          ChangeOf(file.path()) + (file.is_regular_file() ? ReadFile(file.path()) : "");
    return all;
  }
  static std::string ChangeOf(const std::string& path) {
    struct stat status = {};
    ::stat(path.c_str(), &status);
    return std::to_string(status.st_mtim.tv_sec) + "." + std::to_string(status.st_mtim.tv_nsec);
  }
  void ExpectSeen(const std::string& what) const {
    const auto before = Everything();
    EXPECT_THAT(Existence(), HasSubstr(what));
    EXPECT_EQ(Everything(), before);
  }
};

TEST_F(DirectoryExistsTest, DoesNotCreateAMissingPhonebook) { ExpectSeen("missing"); }

TEST_F(DirectoryExistsTest, DoesNotCreateAMissingFolder) {
  fs::remove(Folder());
  ExpectSeen("missing");
}

TEST_F(DirectoryExistsTest, DoesNotChangeAPhonebook) {
  StoreNamed("Doe");
  Close();
  ASSERT_FALSE(fs::exists(Path() + "-wal"));
  ExpectSeen("there");
}

TEST_F(DirectoryExistsTest, DoesNotChangeAPhonebookInUse) {
  LockedFile other(Path());
  StoreNamed("Doe");
  Close();
  other.Take("BEGIN; SELECT * FROM entries");
  ASSERT_TRUE(fs::exists(Path() + "-wal"));
  ExpectSeen("there");
}

TEST_F(DirectoryExistsTest, OpensALockedPhonebook) {
  LockedFile other(Path());
  StoreNamed("Doe");
  Close();
  other.Take("BEGIN IMMEDIATE");
  ExpectSeen("there");
}

TEST_F(DirectoryExistsTest, TakesAnEmptyFileForMissing) {
  WriteFile(Path(), "");
  ExpectSeen("missing");
}

TEST_F(DirectoryExistsTest, AcceptsSpecialCharactersInThePath) {
  m_place = MakeBookPlace(Folder() + "/100% ?#book=1;.db");
  StoreNamed("Doe");
  Close();
  ExpectSeen("there");
}

TEST_F(DirectoryExistsTest, RejectsAnotherFileWithoutChangingIt) {
  WriteFile(Path(), std::string(4096, 'x'));
  ExpectSeen("is not a phonebook");
}

TEST_F(DirectoryExistsTest, FailsWhenTheFolderIsAFile) {
  fs::remove(Folder());
  WriteFile(Folder(), "a file");
  ExpectSeen("can't be reached: Not a directory");
}

TEST_F(DirectoryExistsTest, FailsWithoutPermissionToCreateTheFolder) {
  fs::remove(Folder());
  ::chmod(m_folder.c_str(), 0755);
  ChildProcess child([this](const ChildProcess::Parent& parent) {
    if (!BecomeOrdinaryUser()) return 1;
    parent.Tell(Existence());
    return 0;
  });
  EXPECT_EQ(child.Hear(),
            "The phonebook's folder " + Folder() + " can't be created: Permission denied.");
  EXPECT_EQ(child.Join(), 0);
}

}  // namespace
}  // namespace test
