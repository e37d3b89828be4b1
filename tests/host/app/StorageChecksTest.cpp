#include "host/app/StorageChecks.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/tools/Program.h"

namespace {

using testing::HasSubstr;

class StorageChecksTest : public testing::Test {
 protected:
  /// Checks that there is a remedy if and only if there is a problem.
  static host::Problem checked(const host::Problem& problem) {
    EXPECT_EQ(problem.text.empty(), problem.remedy.empty()) << problem.text << problem.remedy;
    return problem;
  }
  static host::Problem problemOf(const std::string& root) {
    return checked(host::imagesProblem(root));
  }
  host::Problem quotaProblem(std::uint64_t files, std::uint64_t megabytes) const {
    Storage::Limits limits;
    limits.files = files;
    limits.bytes = megabytes << 20;
    return checked(host::imagesQuotaProblem(m_folder.path(), limits));
  }

  test::TestFolder m_folder;
};

}  // namespace

TEST_F(StorageChecksTest, FindNothingInAWritableImagesFolder) {
  EXPECT_TRUE(problemOf(m_folder.path()).none());
  EXPECT_TRUE(std::filesystem::is_empty(m_folder.path()));
}

TEST_F(StorageChecksTest, SuggestToCreateAMissingImagesFolder) {
  const std::string root = m_folder.file("none");
  const host::Problem problem = problemOf(root);
  EXPECT_EQ(problem.text, root + ": No such file or directory");
  EXPECT_THAT(problem.remedy, HasSubstr("sudo mkdir -p " + root));
}

TEST_F(StorageChecksTest, SuggestToMoveAwayAFileInItsPlace) {
  const host::Problem problem = problemOf(m_folder.write("file", ""));
  EXPECT_THAT(problem.text, HasSubstr("Not a directory"));
  EXPECT_THAT(problem.remedy, HasSubstr("move away"));
}

TEST_F(StorageChecksTest, FindAReadOnlyDiskAsRootToo) {
  EXPECT_THAT(problemOf("/proc/sys").text, HasSubstr("/proc/sys: "));
}

TEST_F(StorageChecksTest, FindNothingBelowTheLimits) {
  m_folder.write("one", "1");
  m_folder.write("two", "2");
  EXPECT_TRUE(quotaProblem(3, 5).none());
}

TEST_F(StorageChecksTest, FindTooManyFiles) {
  m_folder.write("one", "1");
  std::filesystem::create_directory(m_folder.file("folder"));
  m_folder.write("folder/two", "2");
  EXPECT_THAT(quotaProblem(3, 5).text, HasSubstr("3 files or 5 MiB"));
}

TEST_F(StorageChecksTest, FindTooManyBytesForAnotherPhoto) {
  m_folder.write("one", std::string((1 << 20) + 1, 'x'));
  EXPECT_THAT(quotaProblem(10, 5).remedy, HasSubstr("move photos"));
  EXPECT_TRUE(quotaProblem(10, 6).none());
}

TEST_F(StorageChecksTest, DoNotFollowSymbolicLinks) {
  std::filesystem::create_symlink("/proc", m_folder.file("link"));
  EXPECT_TRUE(quotaProblem(2, 5).none());
}

TEST_F(StorageChecksTest, FindNothingWithRoomForThePhonebook) {
  EXPECT_TRUE(host::phonebookDiskProblem("sqlite3://" + m_folder.file("book.db")).none());
  EXPECT_TRUE(host::phonebookDiskProblem("sqlite3://" + m_folder.file("no/such/book.db")).none());
}

TEST_F(StorageChecksTest, FindAFullDiskEvenIfThePhonebooksFolderIsMissing) {
  // /proc never has free space.
  const host::Problem problem = host::phonebookDiskProblem("sqlite3:///proc/none/book.db");
  EXPECT_EQ(problem.text, "/proc: its disk is full");
  EXPECT_THAT(problem.remedy, HasSubstr("df -h /proc"));
}

TEST_F(StorageChecksTest, FindNothingForOtherPhonebooks) {
  EXPECT_TRUE(host::phonebookDiskProblem("postgresql://user@host/book").none());
  EXPECT_TRUE(host::phonebookDiskProblem("sqlite3://book.db").none());
  EXPECT_TRUE(host::phonebookDiskProblem("").none());
}

TEST_F(StorageChecksTest, CompareFreeSpaceWithWhatIsNeeded) {
  EXPECT_TRUE(host::diskRoomProblem(m_folder.path(), 1).none());
  EXPECT_FALSE(host::diskRoomProblem(m_folder.path(), ~std::uint64_t{0}).none());
  EXPECT_TRUE(host::diskRoomProblem(m_folder.file("none"), 1).none());
}
