#include "tools/phonectl/Command.h"

namespace phonectl {

namespace {

constexpr const char* kExitCodes =
    "Exit codes: 0 done; 1 it didn't work; 2 wrong command line; 3 the phone isn't running; 4 the\n"
    "phone or the bus went away meanwhile; 130 or 143 left by Ctrl-C or SIGTERM while it waited.";

}  // namespace

Command::Command(CLI::App& parent, const std::string& name, const std::string& description,
                 const std::string& footer)
    : m_app(parent.add_subcommand(name, description)) {
  m_app->footer(footer.empty() ? kExitCodes : footer + "\n\n" + kExitCodes);
}

int Command::start(const dbus::BusAddress& place) {
  PhoneBus bus(place);
  return run(bus);
}

}  // namespace phonectl
