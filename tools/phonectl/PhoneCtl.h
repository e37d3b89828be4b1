#pragma once

#include <CLI/CLI.hpp>
#include <memory>
#include <string>
#include <vector>

#include "tools/phonectl/Command.h"

namespace phonectl {

/// The program: its command line and its commands.
///
/// Threads: main only.
class PhoneCtl {
 public:
  PhoneCtl();

  /// Does what the command line asks for and returns the exit code. Errors are told on standard
  /// error.
  int run(int argc, char** argv);

 private:
  int runChosen();
  template <typename CommandType>
  void add(CLI::App& parent);

  CLI::App m_app;
  std::string m_bus = "session";
  std::vector<std::unique_ptr<Command>> m_commands;
};

}  // namespace phonectl
