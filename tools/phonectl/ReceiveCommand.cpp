#include "tools/phonectl/ReceiveCommand.h"

#include <iostream>
#include <optional>

#include "tools/phonectl/Output.h"
#include "tools/phonectl/Parameters.h"

namespace phonectl {

namespace {

// A push server that has a radio listens within a moment of being switched on.
constexpr unsigned kListenPatienceMilliseconds = 5000;
constexpr unsigned kAskAgainMilliseconds = 50;

}  // namespace

ReceiveCommand::ReceiveCommand(CLI::App& parent)
    : Command(
          parent, "receive", "Switch the receiving of cards on or off",
          "Where Bluetooth is missing, the phone can't stop receiving before a radio appears:\n"
          "the request then waits in the phone and takes effect as soon as it can. That is told,"
          "\nand counts as done (exit code 0).") {
  app().add_option("state", m_state, "on or off")->required()->check(CLI::IsMember({"on", "off"}));
}

int ReceiveCommand::run(PhoneBus& bus) {
  const StopSignals signals;
  PatientCall patient(bus, signals);
  const Glib::VariantContainerBase body = Parameters().addBool("obexEnableParam", on()).body();
  std::string missingRadio;
  const auto answer =
      patient.runUnless({kService, "obexEnableEvent", body}, [&](const PhoneStatus& status) {
        missingRadio = status.missingRadio();
        return !missingRadio.empty() && status.switching();
      });
  if (!answer) {
    tellHandedOver(missingRadio);
  } else if (on()) {
    tellOn(patient);
  } else {
    printLine("Receiving is off.");
  }
  return kDone;
}

void ReceiveCommand::tellHandedOver(const std::string& missingRadio) const {
  printLine("Handed over: \"receive " + m_state +
            "\" waits in the phone and takes effect as soon as its push server can be stopped.");
  printLine("It can't be stopped now, because the radio is missing: " + missingRadio);
}

void ReceiveCommand::tellOn(PatientCall& patient) {
  std::optional<PhoneStatus> status;
  const auto settled = [&] {
    return status && (status->listening() || !status->missingRadio().empty());
  };
  for (unsigned waited = 0; !settled() && waited < kListenPatienceMilliseconds;
       waited += kAskAgainMilliseconds) {
    if (status) patient.waitUntil([] { return false; }, kAskAgainMilliseconds);
    status.emplace(patient.run(PhoneStatus::question()));
  }
  printLine("Receiving is on.");
  if (!status->listening()) {
    std::cerr << "phonectl: but nobody can reach the phone yet: "
              << (status->missingRadio().empty() ? "the push server doesn't listen; see the log"
                                                 : status->missingRadio())
              << std::endl;
  }
}

}  // namespace phonectl
