#include "tools/cardtool/Command.h"

namespace cardtool {

namespace {

constexpr const char* kExitCodes =
    "Exit codes: 0 done; 1 the card or contact can't be read, or its picture or the output can't "
    "be\n"
    "written; 2 wrong command line; 3 a file or folder that was named can't be used.";

}  // namespace

Command::Command(CLI::App& parent, const std::string& name, const std::string& description,
                 const std::string& footer)
    : m_app(parent.add_subcommand(name, description)) {
  m_app->footer(footer + "\n\n" + kExitCodes);
}

}  // namespace cardtool
