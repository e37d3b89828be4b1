// Full and read-only disks: tmpfs, mounted in a mount namespace of the test's own.

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "StorageFixture.h"

namespace {

constexpr const char* kInside = "STORAGE_TESTS_INSIDE_OWN_MOUNTS";

// Runs a program and returns its exit code.
int RunProgram(std::vector<std::string> words) {
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  StorageChild child([&] {
    ::execvp(arguments[0], arguments.data());
    ::_exit(127);
  });
  return child.Join();
}

// Returns the command that starts a program in its own mount namespace; empty if the kernel
// refuses.
std::vector<std::string> OwnMounts() {
  std::vector<std::vector<std::string>> ways = {{"unshare", "-r", "-m"}};
  if (::geteuid() == 0) ways.insert(ways.begin(), {"unshare", "-m"});
  for (std::vector<std::string>& way : ways) {
    std::vector<std::string> trial = way;
    trial.insert(trial.end(), {"mount", "-t", "tmpfs", "none", "/tmp"});
    if (RunProgram(trial) == 0) return way;
  }
  return {};
}

class StorageDiskTest : public StorageTest {
 protected:
  void SetUp() override {
    StorageTest::SetUp();
    m_limits.freeBytes = 0;
    if (std::getenv(kInside) == nullptr) RunAgainInside();
  }
  void TearDown() override {
    if (std::getenv(kInside) != nullptr) {
      ::umount2(m_root.c_str(), MNT_DETACH);
      ::umount2(At("disk").c_str(), MNT_DETACH);
    }
    StorageTest::TearDown();
  }

  void Mount(const std::string& folder, const std::string& options) const {
    ASSERT_EQ(::mount("none", folder.c_str(), "tmpfs", 0, options.c_str()), 0);
  }
  void MakeReadOnly(const std::string& folder) const {
    ASSERT_EQ(::mount("none", folder.c_str(), "tmpfs", MS_REMOUNT | MS_RDONLY, ""), 0);
  }

 private:
  // Runs this test again in its own mount namespace and takes over the result. The outer run skips
  // the test's body.
  void RunAgainInside() {
    std::vector<std::string> words = OwnMounts();
    if (words.empty()) GTEST_SKIP() << "this kernel allows no mount namespace";
    const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
    const std::string name = std::string(test->test_suite_name()) + "." + test->name();
    const std::string self = std::filesystem::read_symlink("/proc/self/exe");
    words.insert(words.end(), {"env", std::string(kInside) + "=1", self, "--gtest_brief=1",
                               "--gtest_filter=" + name});
    EXPECT_EQ(RunProgram(words), 0) << name;
    m_ranInside = true;
  }

 protected:
  bool m_ranInside = false;
};

// The first line of every test here.
#define INSIDE_OWN_MOUNTS() \
  if (m_ranInside) return

TEST_F(StorageDiskTest, LeavesNothingOfAFileThatDoesNotFit) {
  INSIDE_OWN_MOUNTS();
  Mount(m_root, "size=64k,mode=0777");
  ExpectRefused("big.jpg", std::string(100000, 'x'));
  ExpectRefused("a/b/big.jpg", std::string(100000, 'x'));
  ExpectStored("small.jpg", std::string(20000, 'x'));
}

TEST_F(StorageDiskTest, KeepsTheExistingFileWhenTheNewOneDoesNotFit) {
  INSIDE_OWN_MOUNTS();
  Mount(m_root, "size=64k,mode=0777");
  ExpectStored("photo.jpg", std::string(40000, '1'));
  ExpectRefused("photo.jpg", std::string(40000, '2'));
  ExpectStored("photo.jpg", std::string(40000, '1'));
}

TEST_F(StorageDiskTest, LeavesNothingWhenTheDiskFillsUpWhileWriting) {
  INSIDE_OWN_MOUNTS();
  Mount(m_root, "size=64k,mode=0777");
  InChild([&] {
    // As on a file system that can't allocate space.
    RefuseSystemCalls({SYS_fallocate}, EOPNOTSUPP);
    ExpectRefused("big.jpg", std::string(100000, 'x'));
    ExpectRefused("a/b/big.jpg", std::string(100000, 'x'));
    ExpectStored("small.jpg", std::string(20000, 'x'));
  });
}

TEST_F(StorageDiskTest, ChangesNothingWithoutAFreeInode) {
  INSIDE_OWN_MOUNTS();
  // The root, the temporary file and two more.
  Mount(m_root, "nr_inodes=4,mode=0777");
  ExpectRefused("a/b/c/photo.jpg");
  EXPECT_TRUE(Images().empty());
  ExpectStored("a/b/photo.jpg", "picture");
  ExpectRefused("a/b/other.jpg");
}

TEST_F(StorageDiskTest, LeavesTheFreeSpaceOnASmallDisk) {
  INSIDE_OWN_MOUNTS();
  Mount(m_root, "size=1m,mode=0777");
  m_limits.freeBytes = 512 * 1024;
  ExpectStored("1", std::string(300 * 1024, 'x'));
  ExpectRefused("2", std::string(300 * 1024, 'y'));
  ExpectStored("2", std::string(100 * 1024, 'y'));
}

TEST_F(StorageDiskTest, RefusesOnAReadOnlyDisk) {
  INSIDE_OWN_MOUNTS();
  Mount(m_root, "mode=0777");
  Put("photo.jpg", "old");
  MakeReadOnly(m_root);
  ExpectRefused("photo.jpg");
  ExpectRefused("new.jpg");
  ExpectRefused("a/new.jpg");
}

TEST_F(StorageDiskTest, AcceptsTheSameContentsOnAReadOnlyDisk) {
  INSIDE_OWN_MOUNTS();
  Mount(m_root, "mode=0777");
  Put("photo.jpg", "same");
  MakeReadOnly(m_root);
  ExpectStored("photo.jpg", "same");
}

TEST_F(StorageDiskTest, RefusesAnotherDiskBeneathTheRoot) {
  INSIDE_OWN_MOUNTS();
  MakeFolder("disk");
  Mount(At("disk"), "mode=0777");
  Put("disk/photo.jpg", "old");
  ExpectRefused("disk/photo.jpg");
  ExpectRefused("disk/new.jpg");
  ExpectRefused("disk/a/b/new.jpg");
  ExpectStored("new.jpg", "new");
}

TEST_F(StorageDiskTest, RefusesABindMountBeneathTheRoot) {
  INSIDE_OWN_MOUNTS();
  MakeFolder("disk");
  Put("../outside/photo.jpg", "old");
  ASSERT_EQ(::mount((m_folder + "/outside").c_str(), At("disk").c_str(), nullptr, MS_BIND, nullptr),
            0);
  ExpectRefused("disk/photo.jpg");
  ExpectRefused("disk/new.jpg");
  InChild([&] {
    RefuseSystemCalls({SYS_linkat}, EPERM);
    ExpectRefused("disk/photo.jpg");
  });
}

}  // namespace
