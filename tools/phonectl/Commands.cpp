#include "tools/phonectl/Commands.h"

#include <stdexcept>

#include "cards/InputFile.h"
#include "tools/phonectl/Phonebook.h"

namespace phonectl {

namespace {

constexpr const char* kExitCodes =
    "Exit codes: 0 success; 1 failure; 2 wrong command line; 3 the phone isn't running; 4 the "
    "phone\n"
    "or the bus went away; 130 or 143 interrupted by Ctrl-C or SIGTERM while waiting.";

}  // namespace

CLI::App& addCommand(CLI::App& parent, const std::string& name, const std::string& description,
                     const std::string& footer) {
  CLI::App* const command = parent.add_subcommand(name, description);
  command->footer(footer + "\n\n" + kExitCodes);
  return *command;
}

CLI::Validator entryId() {
  return {[](const std::string& text) {
            return isEntryId(text) ? "" : "an id is a number; `phonectl book list` shows it";
          },
          ""};
}

CLI::Option& addContactFile(CLI::App& command, std::string& file) {
  return *command
              .add_option("--json", file,
                          "Contact as a JSON object, as printed by `phonectl book show --contact`")
              ->type_name("FILE|-");
}

cards::Contact readContactFile(const std::string& file) {
  try {
    const std::string json = cards::readInput(file);
    try {
      return cards::contactFromJson(json);
    } catch (const std::runtime_error& error) {
      throw Failure(kFailed, cards::shownInput(file) + ": " + error.what());
    }
  } catch (const cards::InputError& error) {
    throw Failure(kFailed, error.what());
  }
}

void addContactOptions(CLI::App& command, cards::Contact& contact) {
  for (const cards::ContactField& field : cards::contactFields()) {
    command.add_option(std::string("--") + field.key, contact.*field.value, field.description)
        ->type_name("TEXT");
  }
}

}  // namespace phonectl
