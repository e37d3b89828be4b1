// init, store and shutdown, permissions and resource limits.

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <memory>
#include <string>
#include <vector>

#include "StorageFixture.h"
#include "framework/Logging.h"

namespace {

constexpr auto kIn = std::ios_base::in | std::ios_base::binary;
constexpr auto kOut = std::ios_base::out | std::ios_base::binary;

class StorageWriteTest : public StorageTest {
 protected:
  bool Init(const std::string& name) { return m_storage->init(At(name).c_str(), kIn, kOut); }
  bool Write(const char* name, std::string bytes) {
    return m_storage->store(name, bytes.data(), static_cast<int>(bytes.size()));
  }
  void SetUp() override {
    StorageTest::SetUp();
    m_storage = std::make_unique<Storage>(m_root, m_limits);
  }
  void TearDown() override {
    m_storage.reset();
    StorageTest::TearDown();
  }

  std::unique_ptr<Storage> m_storage;
};

TEST_F(StorageWriteTest, StoresAllByteValues) {
  std::string bytes;
  for (int i = 0; i < 100000; ++i) bytes += static_cast<char>(i * 7);
  ExpectStored("photo.jpg", bytes);
}

TEST_F(StorageWriteTest, StoresAnEmptyFile) {
  ASSERT_TRUE(Init("photo.jpg"));
  EXPECT_TRUE(m_storage->store(nullptr, nullptr, 0));
  EXPECT_EQ(Images(), (Tree{{"photo.jpg", "file:"}}));
}

TEST_F(StorageWriteTest, RefusesNullDataWithASize) {
  ASSERT_TRUE(Init("photo.jpg"));
  EXPECT_FALSE(m_storage->store(nullptr, nullptr, 1));
  EXPECT_TRUE(Images().empty());
}

TEST_F(StorageWriteTest, RefusesANegativeSize) {
  char data[] = "x";
  ASSERT_TRUE(Init("photo.jpg"));
  EXPECT_FALSE(m_storage->store(nullptr, data, -1));
  EXPECT_FALSE(m_storage->store(nullptr, data, INT_MIN));
  EXPECT_TRUE(Images().empty());
}

TEST_F(StorageWriteTest, WritesNothingInInit) {
  EXPECT_TRUE(Init("a/b/photo.jpg"));
  EXPECT_TRUE(Images().empty());
}

TEST_F(StorageWriteTest, RefusesUnusablePathsInInit) {
  Link("link", m_folder + "/outside");
  MakeFolder("folder");
  EXPECT_FALSE(Init("new/" + std::string(256, 'n')));
  EXPECT_FALSE(Init("link/photo.jpg"));
  EXPECT_FALSE(Init("folder"));
  EXPECT_FALSE(Write("other.jpg", "new"));
}

TEST_F(StorageWriteTest, RefusesToStoreWithoutInit) { EXPECT_FALSE(Write(nullptr, "new")); }

TEST_F(StorageWriteTest, RefusesToStoreAfterShutdown) {
  ASSERT_TRUE(Init("photo.jpg"));
  m_storage->shutdown();
  EXPECT_FALSE(Write(nullptr, "new"));
  EXPECT_TRUE(Images().empty());
}

TEST_F(StorageWriteTest, RefusesToStoreAfterAFailedInit) {
  ASSERT_TRUE(Init("photo.jpg"));
  EXPECT_FALSE(Init("../photo.jpg"));
  EXPECT_FALSE(Write(nullptr, "new"));
  EXPECT_TRUE(Images().empty());
}

TEST_F(StorageWriteTest, RefusesToStoreWithoutWriteMode) {
  ASSERT_TRUE(m_storage->init(At("photo.jpg").c_str(), kIn, std::ios::binary));
  EXPECT_FALSE(Write(nullptr, "new"));
  EXPECT_TRUE(Images().empty());
}

TEST_F(StorageWriteTest, AllowsShutdownAtAnyTime) {
  m_storage->shutdown();
  ASSERT_TRUE(Init("photo.jpg"));
  m_storage->shutdown();
  m_storage->shutdown();
  ASSERT_TRUE(Init("other.jpg"));
  EXPECT_TRUE(Write(nullptr, "other"));
  EXPECT_EQ(Images(), (Tree{{"other.jpg", "file:other"}}));
}

TEST_F(StorageWriteTest, StoresSeveralFilesWithOneObject) {
  ASSERT_TRUE(Init("a.jpg"));
  EXPECT_TRUE(Write(nullptr, "first"));
  ASSERT_TRUE(Init("b.jpg"));
  EXPECT_TRUE(Write(nullptr, "second"));
  EXPECT_EQ(Images(), (Tree{{"a.jpg", "file:first"}, {"b.jpg", "file:second"}}));
}

TEST_F(StorageWriteTest, StoresAnotherNameInTheSameFolder) {
  ASSERT_TRUE(Init("a/photo.jpg"));
  EXPECT_TRUE(Write("other.jpg", "other"));
  EXPECT_TRUE(Write(nullptr, "photo"));
  EXPECT_EQ(Read("a/other.jpg"), "other");
  EXPECT_EQ(Read("a/photo.jpg"), "photo");
}

TEST_F(StorageWriteTest, RefusesAnotherNameThatIsNotAFileName) {
  ASSERT_TRUE(Init("a/photo.jpg"));
  for (const char* name : {"", ".", "..", "b/photo.jpg", "../photo.jpg", "/etc/passwd", "b/",
                           ".storage-0123456789abcdef"}) {
    EXPECT_FALSE(Write(name, "new")) << name;
  }
  EXPECT_FALSE(Write(std::string(256, 'n').c_str(), "new"));
  EXPECT_TRUE(Images().empty());
}

TEST_F(StorageWriteTest, MakesFilesReadableByAll) {
  const mode_t mask = ::umask(022);
  EXPECT_TRUE(Store("a/photo.jpg", "picture"));
  ::umask(mask);
  struct stat file {};
  ASSERT_EQ(::stat(At("a/photo.jpg").c_str(), &file), 0);
  EXPECT_EQ(file.st_mode & 07777, 0644U);
  ASSERT_EQ(::stat(At("a").c_str(), &file), 0);
  EXPECT_EQ(file.st_mode & 07777, 0755U);
}

TEST_F(StorageWriteTest, KeepsWritingToTheRootThatInitOpened) {
  ASSERT_TRUE(Init("photo.jpg"));
  ASSERT_EQ(::rename(m_root.c_str(), (m_folder + "/former").c_str()), 0);
  ASSERT_EQ(::symlink("outside", m_root.c_str()), 0);
  EXPECT_TRUE(Write(nullptr, "picture"));
  EXPECT_EQ(Everything().at("former/photo.jpg"), "file:picture");
  EXPECT_FALSE(Everything().contains("outside/photo.jpg"));
}

TEST_F(StorageWriteTest, CreatesMissingFolders) {
  ExpectStored("photoFoo A/S.jpg", "picture");
  EXPECT_EQ(Images(), (Tree{{"photoFoo A", "folder"}, {"photoFoo A/S.jpg", "file:picture"}}));
  ExpectStored("photoFoo A/B/C/D.jpg", "deeper");
}

TEST_F(StorageWriteTest, RefusesAFileAsAFolder) {
  Put("a/file", "old");
  ExpectRefused("a/file/photo.jpg");
  ExpectRefused("a/file/b/photo.jpg");
}

TEST_F(StorageWriteTest, RefusesAFileBeyondTheSizeLimitOfTheProcess) {
  InChild([&] {
    const rlimit largest{1000, 1000};
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &largest), 0);
    ExpectRefused("photo.jpg", std::string(1001, 'x'));
    ExpectStored("photo.jpg", std::string(1000, 'x'));
  });
}

TEST_F(StorageWriteTest, LeavesNothingWithoutAFreeDescriptor) {
  rlim_t more = 0;
  for (bool stored = false; !stored; ++more) {
    StorageChild child([&] {
      const rlim_t inUse = OpenDescriptors() - 1;
      const rlimit few{inUse + more, inUse + more};
      ::setrlimit(RLIMIT_NOFILE, &few);
      ::_exit(Store("a/b/photo.jpg", "picture") ? 0 : 9);
    });
    const int code = child.Join();
    ASSERT_TRUE(code == 0 || code == 9) << code;
    stored = code == 0;
    EXPECT_EQ(Images().empty(), !stored) << more;
  }
  EXPECT_GE(more, 3U);
  EXPECT_EQ(Read("a/b/photo.jpg"), "picture");
}

class ReasonSink : public LogSink {
 public:
  ReasonSink() { addLogSink(this); }
  ~ReasonSink() override { removeLogSink(this); }
  void write(const LogLine& line) override {
    m_lines.push_back(std::string(line.component) + "|" + std::string(line.source) + "|" +
                      std::to_string(line.level) + "|" + std::string(line.text));
  }
  std::vector<std::string> m_lines;
};

TEST_F(StorageWriteTest, LogsTheReasonOfAFailure) {
  ReasonSink sink;
  m_root = m_folder + "/missing";
  EXPECT_FALSE(Store("photo.jpg", "new"));
  ASSERT_EQ(sink.m_lines.size(), 1U);
  EXPECT_EQ(sink.m_lines[0], "Storage|Storage|2|Not stored: " + At("photo.jpg") +
                                 ": can't open the root folder: No such file or directory");
}

TEST_F(StorageWriteTest, CutsAVeryLongPathInTheLog) {
  ReasonSink sink;
  EXPECT_FALSE(Store(std::string(1000000, 'n'), "new"));
  ASSERT_EQ(sink.m_lines.size(), 1U);
  EXPECT_LT(sink.m_lines[0].size(), 500U);
}

TEST_F(StorageWriteTest, LogsNothingOnSuccess) {
  ReasonSink sink;
  ExpectStored("photo.jpg", "picture");
  EXPECT_TRUE(sink.m_lines.empty());
}

class StoragePermissionTest : public StorageTest {
 protected:
  void TearDown() override {
    // Without this an ordinary user couldn't delete them.
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

TEST_F(StoragePermissionTest, RefusesAnUnwritableRoot) {
  Put("photo.jpg", "old");
  SetMode(m_root, 0555);
  AsOrdinaryUser([&] {
    ExpectRefused("photo.jpg");
    ExpectRefused("new.jpg");
    ExpectRefused("a/new.jpg");
  });
}

TEST_F(StoragePermissionTest, RefusesAnUnreadableRoot) {
  SetMode(m_root, 0333);
  AsOrdinaryUser([&] { EXPECT_FALSE(Store("photo.jpg", "new")); });
  SetMode(m_root, 0777);
  EXPECT_TRUE(Images().empty());
}

TEST_F(StoragePermissionTest, RefusesAnUnwritableFolder) {
  Put("a/photo.jpg", "old");
  SetMode(At("a"), 0555);
  AsOrdinaryUser([&] {
    ExpectRefused("a/photo.jpg");
    ExpectRefused("a/new.jpg");
    ExpectRefused("a/b/new.jpg");
    ExpectStored("b/new.jpg", "new");
  });
}

TEST_F(StoragePermissionTest, RefusesAnInaccessibleFolder) {
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

TEST_F(StoragePermissionTest, CountsAnUnreadableFolderAsOneEntry) {
  Put("a/1", "old");
  Put("a/2", "old");
  SetMode(At("a"), 0);
  m_limits.files = 2;
  AsOrdinaryUser([&] { ExpectStored("new.jpg", "new"); });
}

TEST_F(StoragePermissionTest, ReplacesAndKeepsAnUnreadableFile) {
  Put("photo.jpg", "old");
  SetMode(At("photo.jpg"), 0);
  AsOrdinaryUser([&] { ExpectStored("photo.jpg", "new"); });
  SetMode(At("photo.jpg~"), 0644);
  EXPECT_EQ(Read("photo.jpg~"), "old");
}

TEST_F(StoragePermissionTest, RefusesAFileOfAnotherUserInAStickyFolder) {
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
