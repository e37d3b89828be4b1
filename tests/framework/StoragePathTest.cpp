// Which paths are let through, as far as their text goes.

#include <string>

#include "StorageFixture.h"

namespace {

using StoragePathTest = StorageTest;

TEST_F(StoragePathTest, TheTelephonesRootIsTheImagesFolder) {
  EXPECT_STREQ(Storage::defaultRoot(), "/data/images");
}

TEST_F(StoragePathTest, AFileInTheRootIsStored) { ExpectStored("photoDoeJohn.jpg", "picture"); }

TEST_F(StoragePathTest, ARelativePathIsRefused) {
  ExpectRefusedAt("photo.jpg");
  ExpectRefusedAt("images/photo.jpg");
  ExpectRefusedAt("");
}

TEST_F(StoragePathTest, AnAbsolutePathOutsideTheRootIsRefused) {
  ExpectRefusedAt(m_folder + "/outside/secret");
  ExpectRefusedAt(m_folder + "/outside/new");
  ExpectRefusedAt("/etc/passwd");
}

TEST_F(StoragePathTest, APathThatMerelyBeginsLikeTheRootIsRefused) {
  ExpectRefusedAt(m_root + "2/photo.jpg");
  ExpectRefusedAt(m_root + ".jpg");
}

TEST_F(StoragePathTest, TheRootItselfIsRefused) {
  ExpectRefusedAt(m_root);
  ExpectRefusedAt(m_root + "/");
  ExpectRefusedAt(m_root + "//");
  ExpectRefusedAt(m_root + "/.");
}

TEST_F(StoragePathTest, APathThatClimbsOutOfTheRootIsRefused) {
  ExpectRefused("../outside/secret");
  ExpectRefused("photo/../../outside/secret");
  ExpectRefused("../../../../../../etc/passwd");
}

TEST_F(StoragePathTest, APathThatClimbsWithinTheRootIsRefused) {
  MakeFolder("a");
  ExpectRefused("a/../photo.jpg");
  ExpectRefused("a/..");
  ExpectRefused("..");
}

TEST_F(StoragePathTest, AClimbThroughAMissingFolderMakesNoFolder) {
  ExpectRefused("photoEvil/../../../outside/secret");
}

TEST_F(StoragePathTest, DotsThatAreNotAComponentAreANameLikeAnyOther) {
  ExpectStored("photo..jpg", "1");
  ExpectStored("...", "2");
  ExpectStored("..photo", "3");
}

TEST_F(StoragePathTest, APathThatEndsInASlashIsRefused) {
  MakeFolder("a");
  ExpectRefused("a/");
  ExpectRefused("new/");
  ExpectRefused("new/.");
}

TEST_F(StoragePathTest, EmptyAndDotComponentsInTheMiddleAreLeftOut) {
  EXPECT_TRUE(Store("photo//./A/photo.jpg", "picture"));
  EXPECT_EQ(Read("photo/A/photo.jpg"), "picture");
}

TEST_F(StoragePathTest, ARootGivenWithASlashIsTheSame) {
  Storage storage(m_root + "//", m_limits);
  char data[] = "picture";
  ASSERT_TRUE(storage.init(At("photo.jpg").c_str(), std::ios::in, std::ios::out));
  EXPECT_TRUE(storage.store(nullptr, data, 7));
  EXPECT_EQ(Read("photo.jpg"), "picture");
}

TEST_F(StoragePathTest, AMissingRootIsRefusedAndNotMade) {
  m_root = m_folder + "/missing";
  EXPECT_FALSE(
      Storage(m_root, m_limits).init(At("photo.jpg").c_str(), std::ios::in, std::ios::out));
  ExpectRefused("photo.jpg");
}

TEST_F(StoragePathTest, ARootThatIsAFileIsRefused) {
  m_root = m_folder + "/outside/secret";
  EXPECT_FALSE(Store("photo.jpg", "new"));
}

TEST_F(StoragePathTest, ANullPathIsRefused) {
  Storage storage(m_root, m_limits);
  EXPECT_FALSE(storage.init(nullptr, std::ios::in, std::ios::out));
}

TEST_F(StoragePathTest, AnyByteButSlashAndNulMayBeInAName) {
  std::string name;
  for (int byte = 1; byte < 256; ++byte) {
    if (byte != '/') name += static_cast<char>(byte);
  }
  ExpectStored(name, "picture");
}

TEST_F(StoragePathTest, ANameOf255BytesIsStored) {
  ExpectStored(std::string(255, 'n'), "picture");
  ExpectStored(std::string(255, 'd') + "/" + std::string(255, 'n'), "picture");
}

TEST_F(StoragePathTest, ANameOf256BytesIsRefused) {
  ExpectRefused(std::string(256, 'n'));
  ExpectRefused(std::string(256, 'd') + "/photo.jpg");
  ExpectRefused("new/" + std::string(256, 'n'));
}

TEST_F(StoragePathTest, APathLongerThanThePlatformsIsRefused) {
  m_limits.depth = 10000;
  std::string name;
  for (int i = 0; i < 30; ++i) name += std::string(200, 'd') + "/";
  ExpectRefused(name + "photo.jpg");
}

TEST_F(StoragePathTest, NamesOfUnfinishedFilesAreRefused) {
  ExpectRefused(".storage-0123456789abcdef");
  ExpectRefused(".storage-mine");
  ExpectRefused(".storage-mine/photo.jpg");
  ExpectRefused("a/.storage-mine");
}

}  // namespace
