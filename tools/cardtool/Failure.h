#pragma once

#include <stdexcept>
#include <string>

#include "tools/cardtool/ExitCode.h"

namespace cardtool {

/// Why a command ends early: a sentence for the user, safe to show, and the exit code.
class Failure : public std::runtime_error {
 public:
  Failure(ExitCode exitCode, const std::string& sentence)
      : std::runtime_error(sentence), m_exitCode(exitCode) {}

  [[nodiscard]] ExitCode exitCode() const { return m_exitCode; }

 private:
  ExitCode m_exitCode;
};

}  // namespace cardtool
