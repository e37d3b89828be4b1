#include "tools/phonectl/CancelCommand.h"

#include "tools/phonectl/BlockingCall.h"
#include "tools/phonectl/Output.h"
#include "tools/phonectl/Parameters.h"

namespace phonectl {

CancelCommand::CancelCommand(CLI::App& parent)
    : Command(parent, "cancel", "Drop the contact that waits to be sent",
              "The phone doesn't tell whether there was one. A transfer that runs already goes on "
              "to its\nend, and this waits for it.") {}

int CancelCommand::run(PhoneBus& bus) {
  const StopSignals signals;
  BlockingCall(bus, signals).run({kService, "vCardCancelEvent", Parameters().body()});
  printLine("No contact waits to be sent any more.");
  return kDone;
}

}  // namespace phonectl
