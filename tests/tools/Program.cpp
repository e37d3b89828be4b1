#include "tests/tools/Program.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

#include "tests/support/WaitFor.h"

extern char** environ;

namespace test {

namespace {

constexpr int kKilled = 1000;

// Variables that would lead a program to the machine's own phone.
constexpr const char* kNotInherited[] = {"LD_PRELOAD", "DBUS_SESSION_BUS_ADDRESS", "PHONE_BUS",
                                         "XDG_STATE_HOME", "XDG_RUNTIME_DIR"};

std::vector<char*> pointersTo(std::vector<std::string>& words) {
  std::vector<char*> pointers;
  for (std::string& word : words) pointers.push_back(word.data());
  pointers.push_back(nullptr);
  return pointers;
}

std::vector<std::string> environmentWith(const Program::Environment& more) {
  Program::Environment all;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string text = *entry;
    const std::size_t end = text.find('=');
    if (end != std::string::npos) all[text.substr(0, end)] = text.substr(end + 1);
  }
  for (const char* name : kNotInherited) all.erase(name);
  for (const auto& [name, value] : more) all[name] = value;
  std::vector<std::string> words;
  for (const auto& [name, value] : all) words.push_back(name + "=" + value);
  return words;
}

}  // namespace

TestFolder::TestFolder() : m_path((std::filesystem::temp_directory_path() / "tools-XXXXXX")) {
  if (::mkdtemp(m_path.data()) == nullptr) {
    throw std::system_error(errno, std::generic_category(), "mkdtemp");
  }
}

TestFolder::~TestFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(m_path, ignored);
}

std::string TestFolder::write(const std::string& name, const std::string& contents) const {
  std::ofstream(file(name), std::ios::binary) << contents;
  return file(name);
}

std::string contentsOf(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

int occurrences(const std::string& text, const std::string& of) {
  int count = 0;
  for (std::size_t at = text.find(of); at != std::string::npos; at = text.find(of, at + 1)) ++count;
  return count;
}

Program::Program(const TestFolder& folder, const std::string& name, const Words& words,
                 const Options& options)
    : m_out(folder.file(name + ".out")), m_err(folder.file(name + ".err")) {
  spawn(words, options, folder.write(name + ".in", options.input));
}

void Program::spawn(const Words& words, const Options& options, const std::string& in) {
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  if (!options.folder.empty()) {
    posix_spawn_file_actions_addchdir_np(&files, options.folder.c_str());
  }
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  if (options.terminal) {
    // The first terminal opened by a session leader becomes its controlling terminal.
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID);
    posix_spawn_file_actions_addopen(&files, 0, options.terminal->c_str(), O_RDWR, 0);
    posix_spawn_file_actions_adddup2(&files, 0, 1);
    posix_spawn_file_actions_adddup2(&files, 0, 2);
  } else {
    posix_spawn_file_actions_addopen(&files, 0, in.c_str(), O_RDONLY, 0);
    const std::string out = options.outFile.value_or(m_out);
    posix_spawn_file_actions_addopen(&files, 1, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_addopen(&files, 2, m_err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  }
  Words arguments = words;
  std::vector<std::string> environment = environmentWith(options.environment);
  const int error = posix_spawnp(&m_pid, words.front().c_str(), &files, &attributes,
                                 pointersTo(arguments).data(), pointersTo(environment).data());
  posix_spawn_file_actions_destroy(&files);
  posix_spawnattr_destroy(&attributes);
  if (error != 0) throw std::system_error(error, std::generic_category(), words.front());
}

Program::~Program() {
  if (!running()) return;
  signal(SIGKILL);
  int status = 0;
  ::waitpid(m_pid, &status, 0);
}

bool Program::running() {
  if (m_status || m_pid <= 0) return false;
  int status = 0;
  if (::waitpid(m_pid, &status, WNOHANG) != m_pid) return true;
  m_status = WIFSIGNALED(status) ? kKilled + WTERMSIG(status) : WEXITSTATUS(status);
  return false;
}

bool Program::waitForOut(const std::string& text, int count) {
  waitFor([&] { return occurrences(out(), text) >= count || !running(); });
  return occurrences(out(), text) >= count;
}

bool Program::waitForErr(const std::string& text, int count) {
  waitFor([&] { return occurrences(err(), text) >= count || !running(); });
  return occurrences(err(), text) >= count;
}

void Program::signal(int number) const { ::kill(m_pid, number); }

int Program::wait() {
  return waitFor([&] { return !running(); }) ? *m_status : -1;
}

Finished runProgram(const Program::Words& words, const Program::Options& options) {
  const TestFolder folder;
  Program program(folder, "program", words, options);
  const int exitCode = program.wait();
  return {exitCode, program.out(), program.err()};
}

}  // namespace test
