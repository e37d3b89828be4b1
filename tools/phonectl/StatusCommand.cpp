#include "tools/phonectl/StatusCommand.h"

#include "cards/CardJson.h"
#include "tools/phonectl/BlockingCall.h"
#include "tools/phonectl/Output.h"
#include "tools/phonectl/PhoneStatus.h"
#include "tools/phonectl/StopSignals.h"

namespace phonectl {

StatusCommand::StatusCommand(CLI::App& parent)
    : Command(parent, "status", "Show how the phone is: radio, link, what it is busy with",
              "The phone answers at once, however busy it is.") {
  app().add_flag("--json", m_json, "One JSON object with everything that the phone tells");
}

int StatusCommand::run(PhoneBus& bus) {
  const StopSignals signals;
  const PhoneStatus status(BlockingCall(bus, signals).run(PhoneStatus::question()));
  if (m_json) {
    printLine(cards::jsonLine(status.json()));
  } else {
    for (const std::string& line : status.lines()) printLine(line);
  }
  return kDone;
}

}  // namespace phonectl
