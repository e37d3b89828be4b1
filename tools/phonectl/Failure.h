#pragma once

#include <stdexcept>
#include <string>

#include "tools/phonectl/ExitCode.h"

namespace phonectl {

/// Why a command ends early: a sentence for the user, what to do about it where that is known, both
/// safe to show, and the exit code. `what()` is all that is said.
class Failure : public std::runtime_error {
 public:
  Failure(int exitCode, const std::string& sentence, const std::string& remedy = "");

  [[nodiscard]] int exitCode() const { return m_exitCode; }
  /// Without the remedy.
  [[nodiscard]] const std::string& sentence() const { return m_sentence; }
  /// Begins with a small letter; empty where none is known.
  [[nodiscard]] const std::string& remedy() const { return m_remedy; }

 private:
  int m_exitCode;
  std::string m_sentence;
  std::string m_remedy;
};

}  // namespace phonectl
