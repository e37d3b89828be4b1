#include <algorithm>
#include <atomic>
#include <thread>

#include "tests/host/directory/ChildProcess.h"
#include "tests/host/directory/DirectoryFixture.h"

namespace test {
namespace {

using ::testing::IsSubsetOf;
using ::testing::SizeIs;
using ::testing::UnorderedElementsAreArray;

/// Several users of one phonebook at the same time.
class DirectorySharingTest : public DirectoryTest {
 protected:
  static constexpr int kWriters = 3;
  static constexpr int kEach = 30;

  static std::string NameOf(int writer, int number) {
    return "writer " + std::to_string(writer) + " entry " + std::to_string(number);
  }
  static std::vector<std::string> AllNames() {
    std::vector<std::string> names;
    for (int writer = 0; writer < kWriters; ++writer) {
      for (int number = 0; number < kEach; ++number) names.push_back(NameOf(writer, number));
    }
    return names;
  }
  /// Writes an entry. Returns whether it was acknowledged.
  static bool Write(host::DirectoryService& service, const std::string& name) {
    const std::string request = host::DirectoryClient::writeRequest({{Column::kSurname, name}});
    return host::DirectoryClient::parseAnswer(service.handleRequest(request)).kind ==
           DirectoryAnswer::Kind::kWritten;
  }
  host::PhoneBookOptions Patient() const {
    host::PhoneBookOptions options = Options();
    options.busyTimeout = std::chrono::seconds(60);
    return options;
  }
  /// A process that waits for "go", opens the phonebook and writes its share.
  std::unique_ptr<ChildProcess> StartWriter(int writer) const {
    return std::make_unique<ChildProcess>([this, writer](const ChildProcess::Parent& parent) {
      if (parent.Hear() != "go") return 1;
      host::DirectoryService service(Patient());
      for (int number = 0; number < kEach; ++number) {
        if (!Write(service, NameOf(writer, number))) return 2;
      }
      return 0;
    });
  }
};

TEST_F(DirectorySharingTest, StoresEachWriteOfConcurrentThreadsOnce) {
  host::DirectoryService service(Patient());
  std::atomic<int> refused{0};
  std::vector<std::thread> threads;
  for (int writer = 0; writer < kWriters; ++writer) {
    threads.emplace_back([&, writer] {
      for (int number = 0; number < kEach; ++number)
        refused += Write(service, NameOf(writer, number)) ? 0 : 1;
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(refused, 0);
  EXPECT_THAT(Surnames(), UnorderedElementsAreArray(AllNames()));
}

TEST_F(DirectorySharingTest, ReadsWholeEntriesWhileOthersWrite) {
  host::DirectoryService service(Patient());
  std::atomic<bool> done{false};
  std::thread writer([&] {
    for (int number = 0; number < kEach; ++number) Write(service, NameOf(0, number));
    done = true;
  });
  std::size_t seen = 0;
  while (!done) {
    const DirectoryAnswer answer = host::DirectoryClient::parseAnswer(
        service.handleRequest(host::DirectoryClient::listRequest({Column::kSurname})));
    EXPECT_EQ(answer.kind, DirectoryAnswer::Kind::kRead);
    EXPECT_GE(answer.entries.size(), seen);
    seen = answer.entries.size();
  }
  writer.join();
  EXPECT_THAT(Surnames(), SizeIs(kEach));
}

TEST_F(DirectorySharingTest, AnswersRequestsDuringShutdown) {
  host::DirectoryService service(Patient());
  std::atomic<int> acknowledged{0};
  std::thread writer([&] {
    int number = 0;
    while (Write(service, NameOf(0, number++))) ++acknowledged;
  });
  while (acknowledged < 5) std::this_thread::yield();
  service.shutdown();
  writer.join();
  EXPECT_EQ(Surnames().size(), static_cast<std::size_t>(acknowledged));
}

TEST_F(DirectorySharingTest, StoresEachWriteOfConcurrentProcessesOnce) {
  std::vector<std::unique_ptr<ChildProcess>> writers;
  for (int writer = 0; writer < kWriters; ++writer) writers.push_back(StartWriter(writer));
  for (const auto& writer : writers) writer->Say("go");
  for (const auto& writer : writers) EXPECT_EQ(writer->Join(), 0);
  EXPECT_THAT(Surnames(), UnorderedElementsAreArray(AllNames()));
}

TEST_F(DirectorySharingTest, SeesWritesOfAnotherProcessAtOnce) {
  const std::unique_ptr<ChildProcess> writer = StartWriter(0);
  EXPECT_THAT(Surnames(), SizeIs(0));
  writer->Say("go");
  EXPECT_EQ(writer->Join(), 0);
  EXPECT_THAT(Surnames(), SizeIs(kEach));
}

TEST_F(DirectorySharingTest, SharesAFileWithinOneProcess) {
  host::DirectoryService first(Patient());
  host::DirectoryService second(Patient());
  for (int number = 0; number < kEach; ++number) {
    EXPECT_TRUE(Write(number % 2 == 0 ? first : second, NameOf(0, number)));
  }
  EXPECT_THAT(Surnames(), SizeIs(kEach));
}

// Kills a writer at a random moment, several times.
TEST_F(DirectorySharingTest, KeepsEachAcknowledgedEntryOnceWhenKilled) {
  std::vector<std::string> acknowledged;
  for (int round = 0; round < 8; ++round) {
    ChildProcess writer([this, round](const ChildProcess::Parent& parent) {
      host::DirectoryService service(Patient());
      for (int number = 0; Write(service, NameOf(round, number)); ++number)
        parent.Tell(NameOf(round, number));
      return 1;
    });
    for (int heard = 0; heard < 10 + round; ++heard) acknowledged.push_back(writer.Hear());
    writer.Kill();
    for (std::string name = writer.Hear(); !name.empty(); name = writer.Hear())
      acknowledged.push_back(name);
    EXPECT_EQ(writer.Join(), -1);
    Restart();
    std::vector<std::string> names = Surnames();
    EXPECT_THAT(acknowledged, IsSubsetOf(names));
    std::sort(names.begin(), names.end());
    EXPECT_EQ(std::adjacent_find(names.begin(), names.end()), names.end());
    EXPECT_LE(names.size(), acknowledged.size() + static_cast<std::size_t>(round) + 1);
    Close();
  }
}

}  // namespace
}  // namespace test
