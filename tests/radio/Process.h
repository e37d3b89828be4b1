#pragma once

#include <sys/types.h>

#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "tests/radio/Descriptor.h"

namespace radiotest {

/// A child process. The destructor kills it and waits for it.
class Process {
 public:
  /// Runs `body` in a fork with its own Bluetooth address. Failed expectations give exit code 1.
  static Process fork(const std::string& address, const std::function<void()>& body);

  struct Settings {
    std::filesystem::path workingFolder = ".";
    std::map<std::string, std::string> environment;
    std::filesystem::path output = "/dev/null";  ///< stdout and stderr
    int input = -1;                              ///< stdin; -1: /dev/null
  };
  /// Runs a program from the PATH. LD_PRELOAD is unset unless `settings.environment` has it.
  static Process run(const std::vector<std::string>& words, const Settings& settings);

  Process(Process&& other) noexcept;
  ~Process();

  bool HasOpen(const std::filesystem::path& file) const;
  void Kill(int signal);
  /// Returns the exit code, or 128 plus the signal that killed it.
  int Wait();
  void ExpectSuccess();

 private:
  explicit Process(pid_t pid) : m_pid(pid) {}

  pid_t m_pid;
};

bool isInstalled(const std::string& program);

std::string contentOf(const std::filesystem::path& file);

}  // namespace radiotest
