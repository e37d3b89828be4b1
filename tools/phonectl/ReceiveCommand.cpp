#include <functional>
#include <iostream>
#include <memory>

#include "tools/phonectl/BlockingCall.h"
#include "tools/phonectl/Commands.h"
#include "tools/phonectl/Duration.h"
#include "tools/phonectl/Parameters.h"

namespace phonectl {

namespace {

// With a radio, a push server listens at once.
constexpr unsigned kListenTimeoutMilliseconds = 5000;
// The phone retries for ten seconds while BlueZ is busy with the adapter.
constexpr unsigned kVisibleTimeoutMilliseconds = 15000;
constexpr unsigned kPollMilliseconds = 50;

struct Options {
  std::string state;
  int visible = 0;  ///< seconds, -1 for ever, 0 for no change

  [[nodiscard]] bool on() const { return state == "on"; }
};

std::string visibleOption(const std::string& text) {
  const auto seconds = text == "always" ? std::optional(-1) : parseDuration(text);
  if (!seconds)
    throw CLI::ValidationError("--visible", "\"" + text + "\" is not a time (1s to 24h) or always");
  return std::to_string(*seconds);
}

/// Polls the phone's status until `settled` holds or the time is up, and returns the last status.
PhoneStatus waitForStatus(BlockingCall& call, unsigned timeout,
                          const std::function<bool(const PhoneStatus&)>& settled) {
  PhoneStatus status(call.run(PhoneStatus::question()));
  for (unsigned waited = 0; !settled(status) && waited < timeout; waited += kPollMilliseconds) {
    call.waitUntil([] { return false; }, kPollMilliseconds);
    status = PhoneStatus(call.run(PhoneStatus::question()));
  }
  return status;
}

void waitUntilListening(BlockingCall& call) {
  const PhoneStatus status =
      waitForStatus(call, kListenTimeoutMilliseconds, [](const PhoneStatus& now) {
        return now.listening() || !now.missingRadio().empty() || !now.listenError().empty();
      });
  if (!status.listening() && status.missingRadio().empty()) {
    const std::string error = status.listenError();
    throw Failure(kFailed,
                  "the phone can't receive yet: " +
                      (error.empty() ? "its push server doesn't listen" : error) +
                      ". It keeps trying until receiving is switched off",
                  "find the cause with: phonectl doctor");
  }
  printLine("Receiving is on.");
  if (!status.listening())
    std::cerr << "phonectl: but other devices can't reach the phone yet: " << status.missingRadio()
              << std::endl;
}

void tellDeferred(const std::string& state, const std::string& missingRadio) {
  printLine("Deferred: \"receive " + state +
            "\" waits in the phone until its push server can be stopped.");
  printLine("It can't be stopped now, because there is no radio: " + missingRadio);
}

void makeVisible(BlockingCall& call, int seconds) {
  call.run({kPhone, "SetVisible",
            Glib::VariantContainerBase::create_tuple(Glib::Variant<int>::create(seconds))});
  const PhoneStatus status = waitForStatus(
      call, kVisibleTimeoutMilliseconds,
      [](const PhoneStatus& now) { return now.discoverable() || !now.visibleProblem().empty(); });
  if (!status.discoverable()) {
    const std::string problem = status.visibleProblem();
    throw Failure(kFailed,
                  "but other phones can't find this one: " +
                      (problem.empty() ? "the adapter has not become visible" : problem),
                  "find the cause with: phonectl doctor");
  }
  printLine(seconds < 0 ? "Visible until changed." : "Visible for " + durationText(seconds) + ".");
}

void switchReceiving(const Context& context, const Options& options) {
  PhoneBus bus(context.place());
  const StopSignals signals;
  BlockingCall call(bus, signals);
  const Glib::VariantContainerBase body =
      Parameters().addBool("obexEnableParam", options.on()).body();
  std::string missingRadio;
  const auto answer =
      call.runUnless({kService, "obexEnableEvent", body}, [&](const PhoneStatus& status) {
        missingRadio = status.missingRadio();
        return !missingRadio.empty() && status.switching();
      });
  if (!answer) {
    tellDeferred(options.state, missingRadio);
  } else if (options.on()) {
    waitUntilListening(call);
    if (options.visible != 0) makeVisible(call, options.visible);
  } else {
    printLine("Receiving is off.");
  }
}

}  // namespace

void addReceive(CLI::App& parent, Context& context) {
  CLI::App& command = addCommand(
      parent, "receive", "Switch the receiving of cards on or off",
      "Without Bluetooth, a phone that receives can't be switched until a radio appears. The\n"
      "request then waits in the phone, which counts as done (exit code 0).\n"
      "The exit code is 1 if the phone can't listen, for example because another program uses\n"
      "its channel; it keeps trying.\n"
      "Phones that aren't paired with this one can find it only while its adapter is visible;\n"
      "see --visible. If it can't be made visible, the exit code is 1.");
  const auto options = std::make_shared<Options>();
  command.add_option("state", options->state, "on or off")
      ->required()
      ->check(CLI::IsMember({"on", "off"}));
  command
      .add_option("--visible", options->visible,
                  "How long other phones can find this one: 30s, 3m, 1h or always")
      ->type_name("TIME")
      ->transform(visibleOption);
  command.callback([&context, options] {
    if (options->visible != 0 && !options->on())
      throw CLI::ValidationError("--visible", "needs receive on");
    switchReceiving(context, *options);
  });
}

}  // namespace phonectl
