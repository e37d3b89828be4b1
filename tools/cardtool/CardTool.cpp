#include "tools/cardtool/CardTool.h"

#include <iostream>

#include "cards/InputFile.h"
#include "tools/cardtool/Failure.h"
#include "tools/cardtool/ReadCommand.h"
#include "tools/cardtool/WriteCommand.h"

namespace cardtool {

CardTool::CardTool()
    : m_app("Reads and writes business cards as the telephone does, without a telephone.",
            "cardtool") {
  m_app.set_version_flag("--version", std::string("cardtool ") + PHONE_VERSION);
  // None is told in runChosen: asked for here, it would be told in place of a misspelt one.
  m_app.require_subcommand(0, 1);
  m_app.footer("`cardtool COMMAND --help` tells more about a command, its exit codes included.");
  m_commands.push_back(std::make_unique<ReadCommand>(m_app));
  m_commands.push_back(std::make_unique<WriteCommand>(m_app));
}

int CardTool::run(int argc, char** argv) {
  try {
    m_app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return m_app.exit(error) == 0 ? kDone : kUsage;
  }
  try {
    return runChosen();
  } catch (const Failure& failure) {
    std::cerr << "cardtool: " << failure.what() << std::endl;
    return failure.exitCode();
  } catch (const contacts::InputError& error) {
    std::cerr << "cardtool: " << error.what() << std::endl;
    return kNoInput;
  }
}

int CardTool::runChosen() {
  for (const auto& command : m_commands) {
    if (command->chosen()) return command->run();
  }
  std::cerr << "cardtool: say what to do; the commands stand in: cardtool --help" << std::endl;
  return kUsage;
}

}  // namespace cardtool
