#include <sys/stat.h>

#include <filesystem>
#include <map>

#include "tests/host/directory/ChildProcess.h"
#include "tests/host/directory/DirectoryFixture.h"
#include "tests/host/directory/LockedFile.h"

namespace test {
namespace {

namespace fs = std::filesystem;

using ::testing::HasSubstr;

/// A look at a phonebook that isn't to change anything.
class DirectoryLookTest : public DirectoryTest {
 protected:
  /// Every file and folder of the test, with what it holds and when it was changed.
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
    EXPECT_THAT(Look(), HasSubstr(what));
    EXPECT_EQ(Everything(), before);
  }
};

TEST_F(DirectoryLookTest, AMissingPhonebookIsNotMade) { ExpectSeen("missing"); }

TEST_F(DirectoryLookTest, AMissingFolderIsNotMade) {
  fs::remove(Folder());
  ExpectSeen("missing");
}

TEST_F(DirectoryLookTest, APhonebookIsLeftAsItIs) {
  StoreNamed("Doe");
  Close();
  ASSERT_FALSE(fs::exists(Path() + "-wal"));
  ExpectSeen("there");
}

TEST_F(DirectoryLookTest, APhonebookInUseIsLeftAsItIs) {
  LockedFile other(Path());
  StoreNamed("Doe");
  Close();
  other.Take("BEGIN; SELECT * FROM entries");
  ASSERT_TRUE(fs::exists(Path() + "-wal"));
  ExpectSeen("there");
}

TEST_F(DirectoryLookTest, APhonebookThatIsLockedCanBeLookedAt) {
  LockedFile other(Path());
  StoreNamed("Doe");
  Close();
  other.Take("BEGIN IMMEDIATE");
  ExpectSeen("there");
}

TEST_F(DirectoryLookTest, AnEmptyFileIsNoPhonebookYet) {
  WriteFile(Path(), "");
  ExpectSeen("missing");
}

TEST_F(DirectoryLookTest, OddCharactersInAPathAreTakenAsTheyAre) {
  m_place = MakeBookPlace(Folder() + "/100% ?#book=1;.db");
  StoreNamed("Doe");
  Close();
  ExpectSeen("there");
}

TEST_F(DirectoryLookTest, AFileThatIsSomethingElseIsToldAndLeftAsItIs) {
  WriteFile(Path(), std::string(4096, 'x'));
  ExpectSeen("is not a phonebook");
}

TEST_F(DirectoryLookTest, AFolderThatCouldNotBeMadeIsTold) {
  fs::remove(Folder());
  WriteFile(Folder(), "a file");
  ExpectSeen("can't be reached: Not a directory");
}

TEST_F(DirectoryLookTest, AUserWhoMayNotMakeTheFolderIsTold) {
  fs::remove(Folder());
  ::chmod(m_folder.c_str(), 0755);
  ChildProcess child([this](const ChildProcess::Parent& parent) {
    if (!BecomeOrdinaryUser()) return 1;
    parent.Tell(Look());
    return 0;
  });
  EXPECT_EQ(child.Hear(),
            "The phonebook's folder " + Folder() + " can't be created: Permission denied.");
  EXPECT_EQ(child.Join(), 0);
}

}  // namespace
}  // namespace test
