// Starts a command with the virtual radio in it.
//
// One thread. The steps are made one after the other; each throws a LauncherError, with a sentence
// for the user and the exit code for it, when it cannot be done.
#ifndef RADIO_LAUNCHER_H_
#define RADIO_LAUNCHER_H_

#include <stdexcept>
#include <string>
#include <vector>

namespace radio {

// The exit codes are those of env, nohup and timeout; all others are the command's own.
enum ExitCode { kWrapperFailed = 125, kNotExecutable = 126, kNotFound = 127 };

class LauncherError : public std::runtime_error {
 public:
  LauncherError(ExitCode code, const std::string& sentence)
      : std::runtime_error(sentence), code_(code) {}
  ExitCode code() const { return code_; }

 private:
  ExitCode code_;
};

class Launcher {
 public:
  // `address` as "00:11:22:33:44:55"; an empty `folder` is the usual one.
  void SetAddress(const std::string& address);
  void SetFolder(const std::string& folder);
  void Preload();

  // Becomes the command and does not return.
  [[noreturn]] void Run(const std::vector<std::string>& command);

 private:
  static std::string FindLibrary();
};

}  // namespace radio

#endif  // RADIO_LAUNCHER_H_
