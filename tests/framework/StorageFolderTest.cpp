// The folders that a write makes, and unmakes when it is refused.

#include <fcntl.h>
#include <sys/syscall.h>

#include <cerrno>
#include <string>

#include "StorageFixture.h"
#include "StorageRoot.h"
#include "StorageUsage.h"

namespace {

using framework_detail::StorageDescriptor;
using framework_detail::StorageError;
using framework_detail::StorageFolders;
using framework_detail::StoragePath;
using framework_detail::StorageUsage;

class StorageFolderTest : public StorageTest {
 protected:
  StoragePath Path(const std::string& name) const { return StoragePath(m_root, At(name), 16); }
  StorageDescriptor OpenRoot() const {
    return StorageDescriptor(::open(m_root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  }
};

TEST_F(StorageFolderTest, FoldersThatARefusedWriteMadeAreRemoved) {
  InChild([&] {
    RefuseSystemCalls({SYS_renameat, SYS_renameat2}, EIO);
    ExpectRefused("a/b/c/photo.jpg");
  });
  EXPECT_TRUE(Images().empty());
}

TEST_F(StorageFolderTest, FoldersThatWereThereBeforeStayWhenAWriteIsRefused) {
  MakeFolder("a/b");
  InChild([&] {
    RefuseSystemCalls({SYS_renameat, SYS_renameat2}, EIO);
    ExpectRefused("a/b/c/d/photo.jpg");
  });
  EXPECT_EQ(Images(), (Tree{{"a", "folder"}, {"a/b", "folder"}}));
}

TEST_F(StorageFolderTest, FoldersThatAreNotKeptAreRemovedInTurn) {
  const StorageDescriptor root = OpenRoot();
  StorageUsage usage;
  {
    StorageFolders folders(root.get(), usage);
    EXPECT_EQ(folders.find(Path("a/b/c/photo.jpg")), 3U);
    folders.makeMissing();
    EXPECT_EQ(Images().size(), 3U);
  }
  EXPECT_TRUE(Images().empty());
}

TEST_F(StorageFolderTest, FoldersThatAreKeptStay) {
  const StorageDescriptor root = OpenRoot();
  StorageUsage usage;
  {
    StorageFolders folders(root.get(), usage);
    folders.find(Path("a/b/photo.jpg"));
    folders.makeMissing();
    folders.keep();
    folders.sync();
  }
  EXPECT_EQ(Images(), (Tree{{"a", "folder"}, {"a/b", "folder"}}));
}

TEST_F(StorageFolderTest, AMadeFolderThatSomeoneElseUsesMeanwhileStays) {
  const StorageDescriptor root = OpenRoot();
  StorageUsage usage;
  {
    StorageFolders folders(root.get(), usage);
    folders.find(Path("a/b/photo.jpg"));
    folders.makeMissing();
    Put("a/other.jpg", "other");
  }
  EXPECT_EQ(Images(), (Tree{{"a", "folder"}, {"a/other.jpg", "file:other"}}));
}

TEST_F(StorageFolderTest, AFileThatTakesTheNameOfAMissingFolderRefusesTheWrite) {
  const StorageDescriptor root = OpenRoot();
  StorageUsage usage;
  {
    StorageFolders folders(root.get(), usage);
    folders.find(Path("a/b/photo.jpg"));
    Put("a", "taken");
    EXPECT_THROW(folders.makeMissing(), StorageError);
  }
  EXPECT_EQ(Images(), (Tree{{"a", "file:taken"}}));
}

TEST_F(StorageFolderTest, ALinkThatTakesTheNameOfAMissingFolderIsNotFollowed) {
  const StorageDescriptor root = OpenRoot();
  StorageUsage usage;
  StorageFolders folders(root.get(), usage);
  folders.find(Path("a/photo.jpg"));
  Link("a", m_folder + "/outside");
  EXPECT_THROW(folders.makeMissing(), StorageError);
}

TEST_F(StorageFolderTest, FoldersAsDeepAsAllowedAreMade) {
  m_limits.depth = 3;
  ExpectStored("1/2/3/photo.jpg", "picture");
}

TEST_F(StorageFolderTest, FoldersDeeperThanAllowedAreRefused) {
  m_limits.depth = 3;
  ExpectRefused("1/2/3/4/photo.jpg");
  m_limits.depth = 0;
  ExpectRefused("1/photo.jpg");
  ExpectStored("photo.jpg", "picture");
}

TEST_F(StorageFolderTest, FoldersDeeperThanAllowedAreRefusedThoughTheyAreThere) {
  MakeFolder("1/2/3/4");
  m_limits.depth = 3;
  ExpectRefused("1/2/3/4/photo.jpg");
}

}  // namespace
