#include "cards/Card.h"
#include "tools/phonectl/BlockingCall.h"
#include "tools/phonectl/Commands.h"
#include "tools/phonectl/Doctor.h"

namespace phonectl {

namespace {

int examine(const Context& context) {
  const StopSignals signals;
  const Diagnosis diagnosis = Doctor(signals).examine(context.place());
  if (context.json) {
    printLine(cards::jsonLine(diagnosis.json()));
  } else {
    for (const std::string& line : diagnosis.lines()) printLine(line);
    printLine(diagnosis.healthy() ? "A card would arrive." : "A card would not arrive.");
  }
  return diagnosis.healthy() ? kDone : kFailed;
}

}  // namespace

void addDoctor(CLI::App& parent, Context& context) {
  CLI::App& command = addCommand(
      parent, "doctor", "Find out what keeps cards of other phones from arriving",
      "One line for each thing that a push needs, and what to do where it is missing: \"ok\","
      "\n\"FAULT\", or \"?\" when another fault keeps it from being found out. The exit code "
      "is 0\nonly if a card would arrive, from everybody who may push, otherwise 1. While the "
      "phone doesn't\nrun, the plug-in and the phonebook that it would take by itself are "
      "looked "
      "at; nothing is\nchanged. With --json, an array of objects with \"check\", \"ok\", "
      "\"known\", \"text\" and\n\"remedy\".");
  command.add_flag("--json", context.json, "A JSON array, one object a check");
  command.callback([&context] { context.exitCode = examine(context); });
}

}  // namespace phonectl
