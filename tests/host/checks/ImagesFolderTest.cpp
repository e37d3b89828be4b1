#include "host/checks/ImagesFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/tools/Program.h"

namespace {

using testing::HasSubstr;

class ImagesFolderTest : public testing::Test {
 protected:
  std::string problem() const { return host::imagesProblem(m_folder.path()); }

  test::TestFolder m_folder;
};

}  // namespace

TEST_F(ImagesFolderTest, AFolderThatCanBeWrittenHasNoProblem) {
  EXPECT_EQ(problem(), "");
  EXPECT_TRUE(std::filesystem::is_empty(m_folder.path()));
}

TEST_F(ImagesFolderTest, AMissingFolderIsNamed) {
  EXPECT_EQ(host::imagesProblem(m_folder.file("none")),
            m_folder.file("none") + ": No such file or directory");
}

TEST_F(ImagesFolderTest, AFileIsNoFolder) {
  EXPECT_THAT(host::imagesProblem(m_folder.write("file", "")), HasSubstr("Not a directory"));
}

TEST_F(ImagesFolderTest, AReadOnlyDiskIsFoundByRootToo) {
  EXPECT_THAT(host::imagesProblem("/proc/sys"), HasSubstr("/proc/sys: "));
}
