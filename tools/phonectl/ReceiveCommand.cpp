#include <iostream>
#include <memory>
#include <optional>

#include "tools/phonectl/BlockingCall.h"
#include "tools/phonectl/Commands.h"
#include "tools/phonectl/Parameters.h"
#include "tools/phonectl/VisibleTime.h"

namespace phonectl {

namespace {

// A push server that has a radio listens within a moment of being switched on.
constexpr unsigned kListenPatienceMilliseconds = 5000;
// The phone tries for ten seconds where BlueZ is busy with the adapter.
constexpr unsigned kVisiblePatienceMilliseconds = 15000;
constexpr unsigned kAskAgainMilliseconds = 50;

/// `phonectl receive on|off`: switches receiving.
class ReceiveCommand {
 public:
  explicit ReceiveCommand(CLI::App& command);
  void check() const {
    if (m_visible != 0 && !on()) throw CLI::ValidationError("--visible", "it goes with receive on");
  }
  int run(PhoneBus& bus);

 private:
  [[nodiscard]] bool on() const { return m_state == "on"; }
  void tellHandedOver(const std::string& missingRadio) const;
  static void tellOn(BlockingCall& patient);
  void makeVisible(BlockingCall& patient) const;

  std::string m_state;
  int m_visible = 0;  ///< seconds, -1 for ever, 0 for as it is
};

ReceiveCommand::ReceiveCommand(CLI::App& command) {
  command.add_option("state", m_state, "on or off")
      ->required()
      ->check(CLI::IsMember({"on", "off"}));
  command.add_option("--visible", m_visible, "For how long: 30s, 3m, 1h or always")
      ->type_name("TIME")
      ->transform([](const std::string& text) {
        const auto seconds = visibleTime(text);
        if (!seconds)
          throw CLI::ValidationError("--visible",
                                     "\"" + text + "\" is no time from 1s to 24h, nor always");
        return std::to_string(*seconds);
      });
}

int ReceiveCommand::run(PhoneBus& bus) {
  const StopSignals signals;
  BlockingCall patient(bus, signals);
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
    if (m_visible != 0) makeVisible(patient);
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

void ReceiveCommand::tellOn(BlockingCall& patient) {
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

void ReceiveCommand::makeVisible(BlockingCall& patient) const {
  patient.run({kPhone, "SetVisible",
               Glib::VariantContainerBase::create_tuple(Glib::Variant<int>::create(m_visible))});
  std::optional<PhoneStatus> status;
  const auto settled = [&] {
    return status && (status->discoverable() || !status->visibleProblem().empty());
  };
  for (unsigned waited = 0; !settled() && waited < kVisiblePatienceMilliseconds;
       waited += kAskAgainMilliseconds) {
    if (status) patient.waitUntil([] { return false; }, kAskAgainMilliseconds);
    status.emplace(patient.run(PhoneStatus::question()));
  }
  if (!status->discoverable()) {
    const std::string problem = status->visibleProblem();
    throw Failure(kFailed, "but other phones can't find this one: " +
                               (problem.empty() ? "the adapter has not become visible" : problem) +
                               ". See: phonectl doctor");
  }
  printLine(m_visible < 0 ? "Visible until that is changed."
                          : "Visible for " + shownTime(m_visible) + ".");
}

}  // namespace

void addReceive(CLI::App& parent, Context& context) {
  CLI::App& command = addCommand(
      parent, "receive", "Switch the receiving of cards on or off",
      "Where Bluetooth is missing, the phone can't stop receiving before a radio appears:\n"
      "the request then waits in the phone and takes effect as soon as it can. That is told,"
      "\nand counts as done (exit code 0).\n"
      "Phones that were never paired with this one find it only while its Bluetooth adapter "
      "is\n"
      "visible, which --visible makes it for a time. When that can't be done, the exit code is "
      "1.");
  const auto receive = std::make_shared<ReceiveCommand>(command);
  command.callback([&context, receive] {
    receive->check();
    PhoneBus bus(context.place());
    context.exitCode = receive->run(bus);
  });
}

}  // namespace phonectl
