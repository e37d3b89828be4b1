#include "StorageFixture.h"

#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>

#include "StorageUsage.h"

namespace fs = std::filesystem;

using framework_detail::StorageDescriptor;
using framework_detail::StorageLock;
using framework_detail::StorageUsage;

namespace {

constexpr auto kIn = std::ios_base::in | std::ios_base::binary;
constexpr auto kOut = std::ios_base::out | std::ios_base::binary;

std::string Contents(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

std::string Describe(const fs::directory_entry& entry) {
  if (entry.is_symlink()) return "link:" + fs::read_symlink(entry.path()).string();
  if (entry.is_directory()) return "folder";
  if (entry.is_regular_file()) return "file:" + Contents(entry.path());
  return "other";
}

std::map<std::string, std::string> TreeOf(const std::string& folder) {
  std::map<std::string, std::string> tree;
  const auto skip = fs::directory_options::skip_permission_denied;
  for (const auto& entry : fs::recursive_directory_iterator(folder, skip)) {
    tree[entry.path().lexically_relative(folder).string()] = Describe(entry);
  }
  return tree;
}

}  // namespace

void StorageTest::SetUp() {
  std::string pattern = (fs::temp_directory_path() / "storage-test-XXXXXX").string();
  ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
  m_folder = pattern;
  m_root = m_folder + "/images";
  fs::create_directory(m_root);
  fs::create_directory(m_folder + "/outside");
  std::ofstream(m_folder + "/outside/secret") << "secret";
  // For tests that run as another user.
  ::chmod(m_folder.c_str(), 0755);
  ::chmod(m_root.c_str(), 0777);
  // Counts are cached by inode: keep it from being reused by a later test.
  static auto& roots = *new std::vector<StorageDescriptor>;
  roots.push_back(OpenRoot());
  m_openBefore = OpenDescriptors();
}

void StorageTest::TearDown() {
  EXPECT_EQ(OpenDescriptors(), m_openBefore);
  fs::remove_all(m_folder);
}

bool StorageTest::StoreAt(const std::string& path, const std::string& bytes) const {
  Storage storage(m_root, m_limits);
  if (!storage.init(path.c_str(), kIn, kOut)) return false;
  std::string data = bytes;
  return storage.store(nullptr, data.data(), static_cast<int>(data.size()));
}

bool StorageTest::Store(const std::string& name, const std::string& bytes) const {
  return StoreAt(At(name), bytes);
}

StorageDescriptor StorageTest::OpenRoot() const {
  return StorageDescriptor(::open(m_root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

void StorageTest::CountAnew() const {
  const StorageDescriptor root = OpenRoot();
  StorageLock lock(root.get());
  lock.acquire();
  StorageUsage().admit(root.get(), {}, m_limits);
}

void StorageTest::ExpectStored(const std::string& name, const std::string& bytes) const {
  EXPECT_TRUE(Store(name, bytes)) << name;
  EXPECT_EQ(Read(name), bytes) << name;
  EXPECT_TRUE(Unfinished().empty());
}

void StorageTest::ExpectRefused(const std::string& name, const std::string& bytes) const {
  ExpectRefusedAt(At(name), bytes);
}

void StorageTest::ExpectRefusedAt(const std::string& path, const std::string& bytes) const {
  const Tree before = Everything();
  EXPECT_FALSE(StoreAt(path, bytes)) << path;
  EXPECT_EQ(Everything(), before) << path;
}

void StorageTest::ExpectStoredInTheEnd(const std::string& name, const std::string& bytes) const {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  while (!Store(name, bytes)) {
    ASSERT_LT(std::chrono::steady_clock::now(), deadline) << name;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  EXPECT_EQ(Read(name), bytes) << name;
}

void StorageTest::Put(const std::string& name, const std::string& bytes) const {
  fs::create_directories(fs::path(At(name)).parent_path());
  std::ofstream(At(name), std::ios::binary) << bytes;
}

void StorageTest::MakeFolder(const std::string& name) const { fs::create_directories(At(name)); }

void StorageTest::Link(const std::string& name, const std::string& target) const {
  fs::create_directories(fs::path(At(name)).parent_path());
  fs::create_symlink(target, At(name));
}

std::string StorageTest::Read(const std::string& name) const { return Contents(At(name)); }

StorageTest::Tree StorageTest::Images() const { return TreeOf(m_root); }

StorageTest::Tree StorageTest::Everything() const { return TreeOf(m_folder); }

std::vector<std::string> StorageTest::Unfinished() const {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(m_root)) {
    const std::string name = entry.path().filename().string();
    if (name.starts_with(".storage-")) names.push_back(name);
  }
  return names;
}

std::size_t OpenDescriptors() {
  const fs::directory_iterator all("/proc/self/fd");
  return static_cast<std::size_t>(std::distance(fs::begin(all), fs::end(all)));
}

void InChild(const std::function<void()>& expectations) {
  StorageChild child([&] {
    expectations();
    std::fflush(stdout);
    ::_exit(::testing::Test::HasFailure() ? 1 : 0);
  });
  EXPECT_EQ(child.Join(), 0) << "in the child process";
}

void AsOrdinaryUser(const std::function<void()>& expectations) {
  InChild([&] {
    constexpr long nobody = 65534;
    if (::geteuid() == 0) {
      // Not through glibc, which would change the user of the sanitizers' threads, too.
      ASSERT_EQ(::syscall(SYS_setgroups, 0L, nullptr), 0);
      ASSERT_EQ(::syscall(SYS_setresgid, nobody, nobody, nobody), 0);
      ASSERT_EQ(::syscall(SYS_setresuid, nobody, nobody, nobody), 0);
    }
    expectations();
  });
}

void RefuseSystemCalls(std::initializer_list<long> calls, int error) {
  std::vector<sock_filter> program;
  program.push_back(BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)));
  for (const long call : calls) {
    program.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<unsigned>(call), 0, 1));
    program.push_back(
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | (static_cast<unsigned>(error) & 0xffffU)));
  }
  program.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
  const sock_fprog filter{static_cast<unsigned short>(program.size()), program.data()};
  ASSERT_EQ(::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0), 0);
  ASSERT_EQ(::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter, 0, 0), 0);
}

StorageChild::StorageChild(const std::function<void()>& work) {
  std::fflush(stdout);
  m_process = ::fork();
  if (m_process != 0) return;
  work();
  ::_exit(0);
}

StorageChild::~StorageChild() {
  Kill();
  Join();
}

void StorageChild::Kill() {
  if (m_process > 0) ::kill(m_process, SIGKILL);
}

int StorageChild::Join() {
  if (m_process <= 0) return -1;
  int status = 0;
  while (::waitpid(m_process, &status, 0) < 0 && errno == EINTR) {
  }
  m_process = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}
