#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace radio {

/// The exit codes are those of env, nohup and timeout; all others are the command's own.
enum ExitCode { kWrapperFailed = 125, kNotExecutable = 126, kNotFound = 127 };

/// Why the command was not started, as a sentence for the user, and the exit code for it.
class LauncherError : public std::runtime_error {
 public:
  LauncherError(ExitCode code, const std::string& sentence)
      : std::runtime_error(sentence), m_code(code) {}
  ExitCode code() const { return m_code; }

 private:
  ExitCode m_code;
};

/// Starts a command with the virtual radio in it.
///
/// One thread. The steps are made one after the other; each throws a LauncherError, with a sentence
/// for the user and the exit code for it, when it cannot be done.
class Launcher {
 public:
  /// `address` as "00:11:22:33:44:55"; an empty `folder` is the usual one.
  void setAddress(const std::string& address);
  void setFolder(const std::string& folder);
  void preload();

  /// Becomes the command and does not return.
  [[noreturn]] void run(const std::vector<std::string>& command);

 private:
  static std::string findLibrary();
};

}  // namespace radio
