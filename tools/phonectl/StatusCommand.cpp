#include "cards/Card.h"
#include "tools/phonectl/BlockingCall.h"
#include "tools/phonectl/Commands.h"
#include "tools/phonectl/PhoneStatus.h"

namespace phonectl {

namespace {

void showStatus(const Context& context) {
  PhoneBus bus(context.place());
  const StopSignals signals;
  const PhoneStatus status(BlockingCall(bus, signals).run(PhoneStatus::question()));
  if (context.json) {
    printLine(cards::jsonLine(status.json()));
  } else {
    for (const std::string& line : status.lines()) printLine(line);
  }
}

}  // namespace

void addStatus(CLI::App& parent, Context& context) {
  CLI::App& command =
      addCommand(parent, "status", "Show the phone's status: radio, link, current work",
                 "The phone answers at once, even when it is busy.");
  command.add_flag("--json", context.json, "Everything the phone reports, as a JSON object");
  command.callback([&context] { showStatus(context); });
}

}  // namespace phonectl
