// Opening beneath the root, folders and the lock.

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <functional>
#include <ostream>
#include <string>

#include "StorageFixture.h"
#include "StorageRoot.h"
#include "StorageUsage.h"

namespace {

using framework_detail::openBeneath;
using framework_detail::openBeneathByHand;
using framework_detail::openBeneathByKernel;
using framework_detail::StorageDescriptor;
using framework_detail::StorageError;
using framework_detail::StorageFolders;
using framework_detail::StorageLock;
using framework_detail::StoragePath;
using framework_detail::StorageUsage;

struct Resolver {
  const char* name;
  StorageDescriptor (*open)(int root, const char* path, int flags);
};

void PrintTo(const Resolver& resolver, std::ostream* stream) { *stream << resolver.name; }

class StorageOpenTest : public StorageTest, public ::testing::WithParamInterface<Resolver> {
 protected:
  void SetUp() override {
    StorageTest::SetUp();
    Put("a/b/photo.jpg", "picture");
    Link("a/up", "..");
    Link("a/out", m_folder + "/outside");
    Link("a/alias", "b");
    Link("a/dangling", "nowhere");
    m_opened = OpenRoot();
    if (GetParam().open == &openBeneathByKernel) SkipWithoutOpenat2();
  }
  void TearDown() override {
    m_opened.reset();
    StorageTest::TearDown();
  }
  void SkipWithoutOpenat2() {
    const bool there = static_cast<bool>(openBeneathByKernel(m_opened.get(), ".", O_PATH));
    if (!there && (errno == ENOSYS || errno == EPERM)) GTEST_SKIP() << "this kernel has no openat2";
  }
  StorageDescriptor Open(const std::string& path, int flags = O_RDONLY) const {
    return GetParam().open(m_opened.get(), path.c_str(), flags);
  }
  void ExpectOpened(const std::string& path, int flags = O_RDONLY) const {
    const StorageDescriptor opened = Open(path, flags);
    EXPECT_TRUE(opened) << path;
    EXPECT_EQ(::fcntl(opened.get(), F_GETFD), FD_CLOEXEC) << path;
  }
  void ExpectRefusedWith(const std::string& path, int error, int flags = O_RDONLY) const {
    EXPECT_FALSE(Open(path, flags)) << path;
    EXPECT_EQ(errno, error) << path;
  }
  void ExpectNotOpened(const std::string& path, int flags = O_RDONLY) const {
    EXPECT_FALSE(Open(path, flags)) << path;
  }

  StorageDescriptor m_opened;
};

TEST_P(StorageOpenTest, OpensFilesAndFoldersBeneath) {
  ExpectOpened("a", O_RDONLY | O_DIRECTORY);
  ExpectOpened("a/b", O_RDONLY | O_DIRECTORY);
  ExpectOpened("a/b/photo.jpg");
  ExpectOpened(".", O_RDONLY | O_DIRECTORY);
  ExpectOpened("./a//b/./photo.jpg");
  ExpectOpened("a/b/", O_RDONLY | O_DIRECTORY);
}

TEST_P(StorageOpenTest, OpensTheNamedFile) {
  const StorageDescriptor opened = Open("a/b/photo.jpg");
  char bytes[16] = {};
  EXPECT_EQ(::read(opened.get(), bytes, sizeof bytes), 7);
  EXPECT_STREQ(bytes, "picture");
}

TEST_P(StorageOpenTest, FailsWithENOENTWhenNothingIsThere) {
  ExpectRefusedWith("missing", ENOENT);
  ExpectRefusedWith("a/missing/photo.jpg", ENOENT);
  ExpectRefusedWith("", ENOENT);
}

TEST_P(StorageOpenTest, RefusesToLeaveTheFolder) {
  ExpectRefusedWith("..", EXDEV);
  ExpectRefusedWith("../outside/secret", EXDEV);
  ExpectRefusedWith("a/../../outside/secret", EXDEV);
}

TEST_P(StorageOpenTest, RefusesAnAbsolutePath) {
  ExpectRefusedWith("/", EXDEV);
  ExpectRefusedWith(At("a/b/photo.jpg"), EXDEV);
}

TEST_P(StorageOpenTest, RefusesLinksAtEveryLevel) {
  for (const char* path :
       {"a/up", "a/up/a", "a/out", "a/out/secret", "a/alias", "a/alias/photo.jpg", "a/dangling",
        "a/dangling/photo.jpg", "a/up/../../outside/secret"}) {
    ExpectNotOpened(path);
    ExpectNotOpened(path, O_RDONLY | O_DIRECTORY);
  }
}

TEST_P(StorageOpenTest, RefusesALinkFollowedByASlash) {
  ExpectNotOpened("a/out/", O_RDONLY | O_DIRECTORY);
  ExpectNotOpened("a/alias/", O_RDONLY | O_DIRECTORY);
}

TEST_P(StorageOpenTest, FailsWithENOTDIRWhenAFileIsUsedAsAFolder) {
  ExpectRefusedWith("a/b/photo.jpg/x", ENOTDIR);
  ExpectRefusedWith("a/b/photo.jpg/", ENOTDIR);
  ExpectRefusedWith("a/b/photo.jpg", ENOTDIR, O_RDONLY | O_DIRECTORY);
}

TEST_P(StorageOpenTest, RefusesANameThatIsTooLong) {
  ExpectRefusedWith("a/" + std::string(256, 'n'), ENAMETOOLONG);
  ExpectRefusedWith(std::string(256, 'n') + "/b", ENAMETOOLONG);
}

INSTANTIATE_TEST_SUITE_P(Both, StorageOpenTest,
                         ::testing::Values(Resolver{"ByKernel", &openBeneathByKernel},
                                           Resolver{"ByHand", &openBeneathByHand}),
                         [](const auto& tested) { return std::string(tested.param.name); });

class StorageWithoutOpenat2Test : public StorageTest, public ::testing::WithParamInterface<int> {
 protected:
  // As on an old kernel, or in a container whose filter is older than the call.
  void WithoutOpenat2(const std::function<void()>& expectations) const {
    InChild([&] {
      RefuseSystemCalls({SYS_openat2}, GetParam());
      const StorageDescriptor root = OpenRoot();
      EXPECT_FALSE(openBeneathByKernel(root.get(), ".", O_PATH));
      EXPECT_TRUE(openBeneath(root.get(), ".", O_PATH));
      expectations();
    });
  }
};

TEST_P(StorageWithoutOpenat2Test, StoresAndBacksUpFiles) {
  WithoutOpenat2([&] {
    ExpectStored("photo.jpg", "1");
    ExpectStored("photoFoo A/S.jpg", "2");
    ExpectStored("photoFoo A/S.jpg", "3");
    EXPECT_EQ(Read("photoFoo A/S.jpg~"), "2");
  });
}

TEST_P(StorageWithoutOpenat2Test, RefusesToLeaveTheRoot) {
  Link("link", m_folder + "/outside");
  Link("a/b/link", m_folder + "/outside");
  Link("photo.jpg", m_folder + "/outside/secret");
  WithoutOpenat2([&] {
    for (const char* name : {"../outside/secret", "link/secret", "link/new",
                             "a/b/link/new/photo.jpg", "photo.jpg", "a/../photo.jpg", "link"}) {
      ExpectRefused(name);
    }
  });
}

INSTANTIATE_TEST_SUITE_P(Errors, StorageWithoutOpenat2Test, ::testing::Values(ENOSYS, EPERM),
                         [](const auto& tested) {
                           return std::string(tested.param == ENOSYS ? "OldKernel" : "Filtered");
                         });

class StorageFolderTest : public StorageTest {
 protected:
  StoragePath Path(const std::string& name) const { return StoragePath(m_root, At(name), 16); }
};

TEST_F(StorageFolderTest, RemovesCreatedFoldersWhenTheWriteFails) {
  InChild([&] {
    RefuseSystemCalls({SYS_renameat, SYS_renameat2}, EIO);
    ExpectRefused("a/b/c/photo.jpg");
  });
  EXPECT_TRUE(Images().empty());
}

TEST_F(StorageFolderTest, KeepsExistingFoldersWhenTheWriteFails) {
  MakeFolder("a/b");
  InChild([&] {
    RefuseSystemCalls({SYS_renameat, SYS_renameat2}, EIO);
    ExpectRefused("a/b/c/d/photo.jpg");
  });
  EXPECT_EQ(Images(), (Tree{{"a", "folder"}, {"a/b", "folder"}}));
}

TEST_F(StorageFolderTest, RemovesCreatedFoldersUnlessKept) {
  const StorageDescriptor root = OpenRoot();
  StorageUsage usage;
  {
    StorageFolders folders(root.get(), usage);
    EXPECT_EQ(folders.find(Path("a/b/c/photo.jpg")), 3U);
    folders.createMissing();
    EXPECT_EQ(Images().size(), 3U);
  }
  EXPECT_TRUE(Images().empty());
}

TEST_F(StorageFolderTest, KeepsCreatedFolders) {
  const StorageDescriptor root = OpenRoot();
  StorageUsage usage;
  {
    StorageFolders folders(root.get(), usage);
    folders.find(Path("a/b/photo.jpg"));
    folders.createMissing();
    folders.keep();
    folders.sync();
  }
  EXPECT_EQ(Images(), (Tree{{"a", "folder"}, {"a/b", "folder"}}));
}

TEST_F(StorageFolderTest, KeepsACreatedFolderThatIsInUse) {
  const StorageDescriptor root = OpenRoot();
  StorageUsage usage;
  {
    StorageFolders folders(root.get(), usage);
    folders.find(Path("a/b/photo.jpg"));
    folders.createMissing();
    Put("a/other.jpg", "other");
  }
  EXPECT_EQ(Images(), (Tree{{"a", "folder"}, {"a/other.jpg", "file:other"}}));
}

TEST_F(StorageFolderTest, ThrowsWhenAFileTakesTheNameOfAMissingFolder) {
  const StorageDescriptor root = OpenRoot();
  StorageUsage usage;
  {
    StorageFolders folders(root.get(), usage);
    folders.find(Path("a/b/photo.jpg"));
    Put("a", "taken");
    EXPECT_THROW(folders.createMissing(), StorageError);
  }
  EXPECT_EQ(Images(), (Tree{{"a", "file:taken"}}));
}

TEST_F(StorageFolderTest, ThrowsWhenALinkTakesTheNameOfAMissingFolder) {
  const StorageDescriptor root = OpenRoot();
  StorageUsage usage;
  StorageFolders folders(root.get(), usage);
  folders.find(Path("a/photo.jpg"));
  Link("a", m_folder + "/outside");
  EXPECT_THROW(folders.createMissing(), StorageError);
}

TEST_F(StorageFolderTest, CreatesFoldersUpToTheMaximumDepth) {
  m_limits.depth = 3;
  ExpectStored("1/2/3/photo.jpg", "picture");
}

TEST_F(StorageFolderTest, RefusesFoldersBeyondTheMaximumDepth) {
  m_limits.depth = 3;
  ExpectRefused("1/2/3/4/photo.jpg");
  m_limits.depth = 0;
  ExpectRefused("1/photo.jpg");
  ExpectStored("photo.jpg", "picture");
}

TEST_F(StorageFolderTest, RefusesExistingFoldersBeyondTheMaximumDepth) {
  MakeFolder("1/2/3/4");
  m_limits.depth = 3;
  ExpectRefused("1/2/3/4/photo.jpg");
}

using StorageLockTest = StorageTest;

TEST_F(StorageLockTest, ThrowsWhenTheLockIsNotReleasedInTime) {
  const StorageDescriptor theirs = OpenRoot();
  const StorageDescriptor ours = OpenRoot();
  StorageLock held(theirs.get());
  held.acquire();
  StorageLock wanted(ours.get(), std::chrono::milliseconds(50));
  EXPECT_THROW(wanted.acquire(), StorageError);
  held.release();
  EXPECT_NO_THROW(wanted.acquire());
}

TEST_F(StorageLockTest, AcquiresTheLockOfAKilledProcess) {
  const StorageDescriptor ours = OpenRoot();
  int ready[2];
  ASSERT_EQ(::pipe2(ready, O_CLOEXEC), 0);
  {
    StorageChild child([&] {
      const StorageDescriptor theirs = OpenRoot();
      StorageLock held(theirs.get());
      held.acquire();
      static_cast<void>(::write(ready[1], "x", 1));
      while (true) ::pause();
    });
    char byte = 0;
    ASSERT_EQ(::read(ready[0], &byte, 1), 1);
    StorageLock impatient(ours.get(), std::chrono::milliseconds(50));
    EXPECT_THROW(impatient.acquire(), StorageError);
  }
  StorageLock lock(ours.get());
  EXPECT_NO_THROW(lock.acquire());
  ::close(ready[0]);
  ::close(ready[1]);
}

}  // namespace
