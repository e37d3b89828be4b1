// What a user may not do: as root these run as "nobody", since root ignores file modes.

#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "StorageFixture.h"

namespace {

class StoragePermissionTest : public StorageTest {
 protected:
  void TearDown() override {
    // Or an ordinary user could not remove them.
    for (const std::string& path : m_changed) ::chmod(path.c_str(), 0777);
    StorageTest::TearDown();
  }
  void SetMode(const std::string& path, mode_t mode) {
    ASSERT_EQ(::chmod(path.c_str(), mode), 0);
    m_changed.insert(m_changed.begin(), path);
  }

 private:
  std::vector<std::string> m_changed;
};

TEST_F(StoragePermissionTest, ARootThatMayNotBeWrittenIsRefused) {
  Put("photo.jpg", "old");
  SetMode(m_root, 0555);
  AsOrdinaryUser([&] {
    ExpectRefused("photo.jpg");
    ExpectRefused("new.jpg");
    ExpectRefused("a/new.jpg");
  });
}

TEST_F(StoragePermissionTest, ARootThatMayNotBeReadIsRefused) {
  SetMode(m_root, 0333);
  AsOrdinaryUser([&] { EXPECT_FALSE(Store("photo.jpg", "new")); });
  SetMode(m_root, 0777);
  EXPECT_TRUE(Images().empty());
}

TEST_F(StoragePermissionTest, AFolderThatMayNotBeWrittenIsRefused) {
  Put("a/photo.jpg", "old");
  SetMode(At("a"), 0555);
  AsOrdinaryUser([&] {
    ExpectRefused("a/photo.jpg");
    ExpectRefused("a/new.jpg");
    ExpectRefused("a/b/new.jpg");
    ExpectStored("b/new.jpg", "new");
  });
}

TEST_F(StoragePermissionTest, AFolderThatMayNotBeEnteredIsRefused) {
  Put("a/b/photo.jpg", "old");
  SetMode(At("a"), 0);
  AsOrdinaryUser([&] {
    ExpectRefused("a/b/photo.jpg");
    ExpectRefused("a/b/new.jpg");
    ExpectRefused("a/new.jpg");
  });
  SetMode(At("a"), 0755);
  EXPECT_EQ(Images().size(), 3U);
}

TEST_F(StoragePermissionTest, AFolderThatMayNotBeReadCountsAsOne) {
  Put("a/1", "old");
  Put("a/2", "old");
  SetMode(At("a"), 0);
  m_limits.files = 2;
  AsOrdinaryUser([&] { ExpectStored("new.jpg", "new"); });
}

TEST_F(StoragePermissionTest, AFileThatMayNotBeReadOrWrittenIsKeptAndReplaced) {
  Put("photo.jpg", "old");
  SetMode(At("photo.jpg"), 0);
  AsOrdinaryUser([&] { ExpectStored("photo.jpg", "new"); });
  SetMode(At("photo.jpg~"), 0644);
  EXPECT_EQ(Read("photo.jpg~"), "old");
}

TEST_F(StoragePermissionTest, AFileInAFolderWhereOnlyOwnersReplaceFilesIsRefused) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can make files of two users";
  MakeFolder("theirs");
  Put("theirs/photo.jpg", "old");
  SetMode(At("theirs"), 01777);
  AsOrdinaryUser([&] {
    ExpectRefused("theirs/photo.jpg");
    ExpectStored("theirs/new.jpg", "new");
  });
}

}  // namespace
