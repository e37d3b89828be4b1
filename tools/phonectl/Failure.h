#pragma once

#include <stdexcept>
#include <string>

#include "tools/phonectl/ExitCode.h"

namespace phonectl {

/// Why a command ends early: a sentence for the user, safe to show, and the exit code.
class Failure : public std::runtime_error {
 public:
  Failure(int exitCode, const std::string& sentence)
      : std::runtime_error(sentence), m_exitCode(exitCode) {}

  [[nodiscard]] int exitCode() const { return m_exitCode; }

 private:
  int m_exitCode;
};

}  // namespace phonectl
