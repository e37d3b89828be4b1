#include "tools/phonectl/RejectCommand.h"

#include "tools/phonectl/BlockingCall.h"
#include "tools/phonectl/Output.h"
#include "tools/phonectl/Parameters.h"

namespace phonectl {

RejectCommand::RejectCommand(CLI::App& parent)
    : Command(
          parent, "reject", "Throw every card that waits for an answer away",
          "Acts on all waiting cards at once. The phone doesn't tell how many there were. Their\n"
          "photos stay in the images folder.") {}

int RejectCommand::run(PhoneBus& bus) {
  const StopSignals signals;
  BlockingCall(bus, signals).run({kService, "vCardsRejectedEvent", Parameters().body()});
  printLine("No card waits any more.");
  return kDone;
}

}  // namespace phonectl
