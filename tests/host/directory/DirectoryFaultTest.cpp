#include <filesystem>

#include "tests/host/directory/DirectoryFixture.h"
#include "tests/host/directory/Mounts.h"
#include "tests/host/directory/SqliteFile.h"
#include "tests/support/LogRecorder.h"

namespace test {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

/// Faults while the phonebook is in use.
class DirectoryFaultTest : public DirectoryTest {
 protected:
  void ExpectNotRead(const std::string& reason) {
    ExpectFailure(host::DirectoryClient::listRequest({Column::kSurname, Column::kEmail}), reason);
  }
  std::string Big(char byte) const { return std::string(std::size_t{3} << 20, byte); }
};

TEST_F(DirectoryFaultTest, ReadsWhileAnotherProgramHoldsTheWriteLock) {
  LockedFile lock(Path());
  StoreNamed("before");
  lock.Take("BEGIN IMMEDIATE");
  ExpectNotStored("is locked by another program");
  EXPECT_THAT(Surnames(), ElementsAre("before"));
  lock.Release();
  StoreNamed("after");
  EXPECT_THAT(Surnames(), ElementsAre("before", "after"));
}

TEST_F(DirectoryFaultTest, WaitsForALock) {
  host::PhoneBookOptions options = Options();
  options.busyTimeout = std::chrono::seconds(60);
  LockedFile lock(Path());
  m_service = std::make_unique<host::DirectoryService>(options);
  lock.Take("BEGIN IMMEDIATE");
  lock.ReleaseInAMoment();
  StoreNamed("Doe");
  EXPECT_THAT(Surnames(), ElementsAre("Doe"));
}

TEST_F(DirectoryFaultTest, RecoversFromAFullDisk) {
  if (!MayMount()) GTEST_SKIP() << "needs the right to mount";
  const MemoryDisk disk(Folder(), 4 << 20);
  StoreNamed("before");
  disk.Fill();
  const std::string big(std::size_t{1} << 20, 'x');
  ExpectFailure(host::DirectoryClient::writeRequest({{Column::kSurname, big}}), "is full");
  for (int i = 0; i < 100; ++i) Ask(WriteOf("<Surname>during</Surname>"));
  ExpectNotStored("is full");
  EXPECT_THAT(Surnames(), Contains("before"));
  disk.Empty();
  StoreNamed("after");
  Restart();
  const std::vector<std::string> names = Surnames();
  EXPECT_EQ(names.front(), "before");
  EXPECT_EQ(names.back(), "after");
  EXPECT_THAT(names, Not(Contains(kSecret)));
  EXPECT_THAT(names, Not(Contains(big)));
}

TEST_F(DirectoryFaultTest, KeepsExactlyTheAcknowledgedEntriesOnAFullDisk) {
  if (!MayMount()) GTEST_SKIP() << "needs the right to mount";
  const MemoryDisk disk(Folder(), 2 << 20);
  std::vector<std::string> acknowledged;
  bool room = true;
  for (int i = 0; room; ++i) {
    const std::string name = "number " + std::to_string(i);
    room = Parsed(host::DirectoryClient::writeRequest(
                      {{Column::kSurname, name}, {Column::kEmail, std::string(20000, 'x')}}))
               .kind == DirectoryAnswer::Kind::kWritten;
    if (room) acknowledged.push_back(name);
  }
  EXPECT_EQ(Surnames(), acknowledged);
  EXPECT_THAT(acknowledged, Not(IsEmpty()));
}

TEST_F(DirectoryFaultTest, RecoversFromAReadOnlyDisk) {
  if (!MayMount()) GTEST_SKIP() << "needs the right to mount";
  StoreNamed("before");
  {
    const MemoryDisk disk(Folder(), 4 << 20);
    disk.MakeReadOnly();
    ExpectNotStored("Read-only file system");
    ExpectNotRead("Read-only file system");
  }
  EXPECT_THAT(Surnames(), ElementsAre("before"));
  StoreNamed("after");
  EXPECT_THAT(Surnames(), ElementsAre("before", "after"));
}

TEST_F(DirectoryFaultTest, RecoversWhenADamagedFileIsRestored) {
  Store({{Column::kSurname, "before"}, {Column::kEmail, Big('x')}});
  Restart();
  const std::string good = ReadFile(Path());
  std::string bad = good;
  for (std::size_t at = 4096; at < bad.size(); at += 4096) bad.replace(at, 100, 100, '\xAA');
  WriteFile(Path(), bad);
  ExpectNotRead("is damaged");
  ExpectNotStored("is damaged");
  WriteFile(Path(), good);
  StoreNamed("after");
  EXPECT_THAT(Surnames(), ElementsAre("before", "after"));
}

TEST_F(DirectoryFaultTest, ReopensAFileThatWasReplaced) {
  StoreNamed("first book");
  Close();
  std::filesystem::rename(Path(), Path() + ".kept");
  StoreNamed("second book");
  const std::string other = m_folder + "/other.db";
  WriteFile(other, "this is not a database at all, only a sentence that is long enough to see it");
  std::filesystem::rename(other, Path());
  ExpectNotRead("is not a phonebook");
  ExpectNotStored("is not a phonebook");
  for (const char* suffix : {"", "-wal", "-shm"}) std::filesystem::remove(Path() + suffix);
  std::filesystem::rename(Path() + ".kept", Path());
  EXPECT_THAT(Surnames(), ElementsAre("first book"));
}

TEST_F(DirectoryFaultTest, RecreatesAFileThatWasRemoved) {
  StoreNamed("lost with the file");
  for (const char* suffix : {"", "-wal", "-shm"}) std::filesystem::remove(Path() + suffix);
  StoreNamed("new");
  EXPECT_THAT(Surnames(), ElementsAre("new"));
  EXPECT_EQ(Sql("SELECT surname FROM entries"), "new");
}

TEST_F(DirectoryFaultTest, RecreatesAFolderThatWasRemoved) {
  StoreNamed("lost with the folder");
  std::filesystem::remove_all(Folder());
  StoreNamed("new");
  EXPECT_THAT(Surnames(), ElementsAre("new"));
}

TEST_F(DirectoryFaultTest, FailsWithoutEchoingValuesWhenTheTableIsMissing) {
  StoreNamed("before");
  Sql("DROP TABLE entries");
  ExpectNotStored("no such table");
  ExpectNotRead("no such table");
}

TEST_F(DirectoryFaultTest, LogsFaultsWithoutValuesAndNoRefusals) {
  LockedFile lock(Path());
  Open();
  const LogRecorder log;
  Ask("hello");
  EXPECT_THAT(log.lines(), IsEmpty());
  lock.Take("BEGIN IMMEDIATE");
  ExpectNotStored("locked");
  ASSERT_THAT(log.texts(kLogError), Not(IsEmpty()));
  for (const std::string& text : log.texts()) {
    EXPECT_THAT(text, HasSubstr("is locked by another program"));
    EXPECT_THAT(text, Not(HasSubstr("Zyzzogeton")));
  }
}

}  // namespace
}  // namespace test
