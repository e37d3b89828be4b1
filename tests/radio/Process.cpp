#include "tests/radio/Process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <utility>

namespace radiotest {
namespace {

[[noreturn]] void become(const std::vector<std::string>& words, const Process::Settings& settings) {
  std::vector<char*> arguments;
  for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  unsetenv("LD_PRELOAD");
  for (const auto& [name, value] : settings.environment) setenv(name.c_str(), value.c_str(), 1);
  const int input = settings.input >= 0 ? settings.input : open("/dev/null", O_RDONLY);
  const int output = open(settings.output.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
  dup2(input, 0);
  dup2(output, 1);
  dup2(output, 2);
  if (chdir(settings.workingFolder.c_str()) == 0) execvp(arguments[0], arguments.data());
  _exit(127);
}

// A fork that is killed when this process dies.
pid_t forkBound() {
  std::fflush(nullptr);
  const pid_t parent = getpid();
  const pid_t pid = ::fork();
  if (pid != 0) return pid;
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent) _exit(1);
  return 0;
}

}  // namespace

Process Process::fork(const std::string& address, const std::function<void()>& body) {
  const pid_t pid = forkBound();
  if (pid != 0) return Process(pid);
  setenv("VIRTUAL_RADIO_ADDRESS", address.c_str(), 1);
  body();
  std::fflush(nullptr);
  _exit(::testing::Test::HasFailure() ? 1 : 0);
}

Process Process::run(const std::vector<std::string>& words, const Settings& settings) {
  const pid_t pid = forkBound();
  if (pid == 0) become(words, settings);
  return Process(pid);
}

Process::Process(Process&& other) noexcept : m_pid(std::exchange(other.m_pid, -1)) {}

Process::~Process() {
  if (m_pid <= 0) return;
  kill(m_pid, SIGKILL);
  Wait();
}

bool Process::HasOpen(const std::filesystem::path& file) const {
  namespace fs = std::filesystem;
  std::error_code ignored;
  const std::string folder = "/proc/" + std::to_string(m_pid) + "/fd";
  for (const auto& entry : fs::directory_iterator(folder, ignored)) {
    if (fs::read_symlink(entry.path(), ignored) == file) return true;
  }
  return false;
}

void Process::Kill(int signal) { EXPECT_EQ(kill(m_pid, signal), 0); }

int Process::Wait() {
  int status = 0;
  EXPECT_EQ(waitpid(m_pid, &status, 0), m_pid);
  m_pid = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

void Process::ExpectSuccess() { EXPECT_EQ(Wait(), 0); }

bool isInstalled(const std::string& program) {
  return Process::run({"sh", "-c", "command -v " + program}, {}).Wait() == 0;
}

std::string contentOf(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(stream), {});
}

}  // namespace radiotest
