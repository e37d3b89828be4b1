#include "tests/host/directory/ChildProcess.h"

#include <fcntl.h>
#include <grp.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <exception>
#include <stdexcept>

namespace test {

namespace {

constexpr int kUncaught = 99;
constexpr uid_t kNobody = 65534;

void WriteLine(int descriptor, const std::string& line) {
  const std::string text = line + "\n";
  if (::write(descriptor, text.data(), text.size()) != static_cast<ssize_t>(text.size()))
    throw std::runtime_error("the other process is gone");
}

std::string ReadLine(int descriptor) {
  std::string line;
  char byte = 0;
  while (::read(descriptor, &byte, 1) == 1) {
    if (byte == '\n') return line;
    line.push_back(byte);
  }
  return {};
}

int RunGuarded(const std::function<int(const ChildProcess::Parent&)>& work,
               const ChildProcess::Parent& parent) {
  try {
    return work(parent);
  } catch (const std::exception& problem) {
    std::fprintf(stderr, "in the child process: %s\n", problem.what());
  }
  return kUncaught;
}

}  // namespace

void ChildProcess::Parent::Tell(const std::string& line) const { WriteLine(m_write, line); }

std::string ChildProcess::Parent::Hear() const { return ReadLine(m_read); }

ChildProcess::ChildProcess(const std::function<int(const Parent&)>& work) {
  std::array<int, 2> down = {};
  std::array<int, 2> up = {};
  if (::pipe2(down.data(), O_CLOEXEC) != 0 || ::pipe2(up.data(), O_CLOEXEC) != 0)
    throw std::runtime_error("no pipe");
  m_process = ::fork();
  if (m_process < 0) throw std::runtime_error("no process");
  if (m_process == 0) {
    ::close(down[1]);
    ::close(up[0]);
    ::_exit(RunGuarded(work, Parent(down[0], up[1])));
  }
  ::close(down[0]);
  ::close(up[1]);
  m_read = up[0];
  m_write = down[1];
}

ChildProcess::~ChildProcess() {
  Kill();
  Join();
  ::close(m_read);
  ::close(m_write);
}

void ChildProcess::Say(const std::string& line) const { WriteLine(m_write, line); }

void ChildProcess::Kill() const {
  if (m_process > 0) ::kill(m_process, SIGKILL);
}

std::string ChildProcess::Hear() { return ReadLine(m_read); }

int ChildProcess::Join() {
  if (m_process <= 0) return -1;
  int status = 0;
  while (::waitpid(m_process, &status, 0) < 0) {
  }
  m_process = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

bool BecomeOrdinaryUser() {
  return ::setgroups(0, nullptr) == 0 && ::setgid(kNobody) == 0 && ::setuid(kNobody) == 0;
}

}  // namespace test
