#include <iostream>
#include <optional>

#include "cards/Card.h"
#include "tools/phonectl/BlockingCall.h"
#include "tools/phonectl/Commands.h"
#include "tools/phonectl/PhoneObserver.h"

namespace phonectl {

namespace {

// The phone sends the outcome before its reply, but we may see it after that.
constexpr unsigned kOutcomeTimeoutMilliseconds = 5000;

/// Keeps the latest outcome. Others may accept cards at the same time, and the phone handles one
/// request after the other, so ours is the last outcome before our reply.
class LatestOutcome : public PhoneEvents {
 public:
  std::optional<Outcome> outcome;

  void cardsAccepted(const Outcome& latest) override { outcome = latest; }
};

Outcome acceptCards(PhoneBus& bus) {
  const StopSignals signals;
  BlockingCall call(bus, signals);
  LatestOutcome latest;
  PhoneObserver observer(bus, latest);
  PhoneObserver::checkSubscription(call.run(PhoneObserver::subscription()));
  observer.listenTo(bus.phoneOwner());

  call.run({kService, "vCardsAcceptedEvent", Parameters().body()});
  if (call.waitUntil([&] { return latest.outcome.has_value(); }, kOutcomeTimeoutMilliseconds))
    return *latest.outcome;
  throw Failure(kFailed, "the phone accepted the request but reported no outcome",
                "check what was stored with: phonectl book list");
}

int accept(const Context& context) {
  PhoneBus bus(context.place());
  const Outcome outcome = acceptCards(bus);
  if (context.json) {
    printLine(cards::jsonLine(outcome.json()));
  } else if (outcome.stored) {
    printLine(outcome.sentence());
  } else {
    std::cerr << "phonectl: " << outcome.sentence() << std::endl;
  }
  return outcome.stored ? kDone : kFailed;
}

void reject(const Context& context) {
  PhoneBus bus(context.place());
  const StopSignals signals;
  BlockingCall(bus, signals).run({kService, "vCardsRejectedEvent", Parameters().body()});
  printLine("All waiting cards were rejected.");
}

}  // namespace

void addAccept(CLI::App& parent, Context& context) {
  CLI::App& command = addCommand(
      parent, "accept", "Store all waiting cards",
      "If a card can't be stored, the others still are, no card keeps waiting, and the\n"
      "exit code is 1.\n"
      "--json prints {\"event\":\"received\",\"count\":N,\"first\":{...}}; the event is\n"
      "\"error\" if a card could not be stored, and \"first\" is missing if no card was\n"
      "waiting.");
  command.add_flag("--json", context.json, "Outcome as a JSON object");
  command.callback([&context] { context.exitCode = accept(context); });
}

void addReject(CLI::App& parent, Context& context) {
  CLI::App& command =
      addCommand(parent, "reject", "Discard all waiting cards",
                 "The phone doesn't report how many cards were waiting. Their photos stay in the\n"
                 "images folder.");
  command.callback([&context] { reject(context); });
}

}  // namespace phonectl
