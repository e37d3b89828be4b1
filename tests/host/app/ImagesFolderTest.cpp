#include "host/app/ImagesFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/tools/Program.h"

namespace {

using testing::HasSubstr;

class ImagesFolderTest : public testing::Test {
 protected:
  /// A problem has a remedy, and no problem none.
  static host::Problem whole(const host::Problem& problem) {
    EXPECT_EQ(problem.text.empty(), problem.remedy.empty()) << problem.text << problem.remedy;
    return problem;
  }
  static host::Problem problemOf(const std::string& root) {
    return whole(host::imagesProblem(root));
  }
  host::Problem quotaProblem(std::uint64_t files, std::uint64_t megabytes) const {
    Storage::Limits limits;
    limits.files = files;
    limits.bytes = megabytes << 20;
    return whole(host::imagesQuotaProblem(m_folder.path(), limits));
  }

  test::TestFolder m_folder;
};

}  // namespace

TEST_F(ImagesFolderTest, AFolderThatCanBeWrittenHasNoProblem) {
  EXPECT_TRUE(problemOf(m_folder.path()).none());
  EXPECT_TRUE(std::filesystem::is_empty(m_folder.path()));
}

TEST_F(ImagesFolderTest, AMissingFolderIsToBeMade) {
  const std::string root = m_folder.file("none");
  const host::Problem problem = problemOf(root);
  EXPECT_EQ(problem.text, root + ": No such file or directory");
  EXPECT_THAT(problem.remedy, HasSubstr("sudo mkdir -p " + root));
}

TEST_F(ImagesFolderTest, AFileInItsPlaceIsToBeMovedAway) {
  const host::Problem problem = problemOf(m_folder.write("file", ""));
  EXPECT_THAT(problem.text, HasSubstr("Not a directory"));
  EXPECT_THAT(problem.remedy, HasSubstr("move away"));
}

TEST_F(ImagesFolderTest, ADiskWhereNoFilesCanBeMadeIsFoundByRootToo) {
  EXPECT_THAT(problemOf("/proc/sys").text, HasSubstr("/proc/sys: "));
}

TEST_F(ImagesFolderTest, WhatIsBelowTheLimitsIsNoProblem) {
  m_folder.write("one", "1");
  m_folder.write("two", "2");
  EXPECT_TRUE(quotaProblem(3, 5).none());
}

TEST_F(ImagesFolderTest, AsManyFilesAsMayBeAreAProblem) {
  m_folder.write("one", "1");
  std::filesystem::create_directory(m_folder.file("folder"));
  m_folder.write("folder/two", "2");
  EXPECT_THAT(quotaProblem(3, 5).text, HasSubstr("3 files or 5 MiB"));
}

TEST_F(ImagesFolderTest, AsManyBytesAsLeaveNoRoomForAPhotoAreAProblem) {
  m_folder.write("one", std::string((1 << 20) + 1, 'x'));
  EXPECT_THAT(quotaProblem(10, 5).remedy, HasSubstr("move photos"));
  EXPECT_TRUE(quotaProblem(10, 6).none());
}

TEST_F(ImagesFolderTest, LinksAndWhatTheyLeadToAreNotCountedAsPhotos) {
  std::filesystem::create_symlink("/proc", m_folder.file("link"));
  EXPECT_TRUE(quotaProblem(2, 5).none());
}
