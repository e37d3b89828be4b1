#include "tools/phonectl/DoctorCommand.h"

#include "cards/CardJson.h"
#include "tools/phonectl/Doctor.h"
#include "tools/phonectl/Output.h"
#include "tools/phonectl/StopSignals.h"

namespace phonectl {

DoctorCommand::DoctorCommand(CLI::App& parent)
    : Command(
          parent, "doctor", "Find out what keeps cards of other phones from arriving",
          "One line for each thing that a push needs, and what to do where it is missing: \"ok\","
          "\n\"FAULT\", or \"?\" when another fault keeps it from being found out. The exit code "
          "is 0\nonly if a card would arrive, from everybody who may push, otherwise 1. While the "
          "phone doesn't\nrun, the plug-in and the phonebook that it would take by itself are "
          "looked "
          "at; nothing is\nchanged. With --json, an array of objects with \"check\", \"ok\", "
          "\"known\", \"text\" and\n\"remedy\".") {
  app().add_flag("--json", m_json, "A JSON array, one object a check");
}

int DoctorCommand::start(const BusPlace& place) {
  const StopSignals signals;
  const Diagnosis diagnosis = Doctor(signals).examine(place);
  if (m_json) {
    printLine(cards::jsonLine(diagnosis.json()));
  } else {
    for (const std::string& line : diagnosis.lines()) printLine(line);
    printLine(diagnosis.healthy() ? "A card would arrive." : "A card would not arrive.");
  }
  return diagnosis.healthy() ? kDone : kFailed;
}

int DoctorCommand::run(PhoneBus& bus) { return start(bus.place()); }

}  // namespace phonectl
