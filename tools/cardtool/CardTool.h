#pragma once

#include <CLI/CLI.hpp>
#include <memory>
#include <vector>

#include "tools/cardtool/Command.h"

namespace cardtool {

/// The program: its command line and its commands.
///
/// Threads: main only.
class CardTool {
 public:
  CardTool();

  /// Does what the command line asks for and returns the exit code. Errors are told on standard
  /// error.
  int run(int argc, char** argv);

 private:
  int runChosen();

  CLI::App m_app;
  std::vector<std::unique_ptr<Command>> m_commands;
};

}  // namespace cardtool
