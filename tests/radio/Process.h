#pragma once

#include <sys/types.h>

#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "tests/radio/Descriptor.h"

namespace radiotest {

/// Another process. Killed, and waited for, when it goes out of scope.
class Process {
 public:
  /// A fork of this one, with an address of its own. Expectations that fail in `body` make it fail.
  static Process fork(const std::string& address, const std::function<void()>& body);

  struct Settings {
    std::filesystem::path workingFolder = ".";
    std::map<std::string, std::string> environment;
    std::filesystem::path output = "/dev/null";  ///< of both streams
    int input = -1;                              ///< becomes its standard input
  };
  /// A program, found on the PATH, that starts without the preloaded radio unless the settings'
  /// environment has it.
  static Process run(const std::vector<std::string>& words, const Settings& settings);

  Process(Process&& other) noexcept;
  ~Process();

  bool HasOpen(const std::filesystem::path& file) const;
  void Kill(int signal);
  /// The exit code, or 128 and the signal that ended it.
  int Wait();
  void ExpectSuccess();

 private:
  explicit Process(pid_t pid) : m_pid(pid) {}

  pid_t m_pid;
};

/// Whether the machine has the program.
bool isInstalled(const std::string& program);

std::string contentOf(const std::filesystem::path& file);

}  // namespace radiotest
