#include "tools/phonectl/AcceptCommand.h"

#include <iostream>
#include <optional>

#include "cards/CardJson.h"
#include "tools/phonectl/BlockingCall.h"
#include "tools/phonectl/Outcome.h"
#include "tools/phonectl/Output.h"
#include "tools/phonectl/PhoneObserver.h"

namespace phonectl {

namespace {

// The outcome is sent before the answer; it may only be dispatched after it.
constexpr unsigned kOutcomePatienceMilliseconds = 5000;

/// Keeps the latest outcome: others may accept at the same time, and the phone does one acceptance
/// after the other, so ours is the last one that comes before our answer.
class LatestOutcome : public PhoneEvents {
 public:
  [[nodiscard]] const std::optional<Outcome>& get() const { return m_outcome; }

  void cardsStored(const std::string& firstMessage, long long count) override {
    m_outcome.emplace(true, count, firstMessage);
  }
  void cardsNotStored(const std::string& firstMessage, long long count) override {
    m_outcome.emplace(false, count, firstMessage);
  }
  void cardOffered(const std::string&) override {}
  void cardUnreadable() override {}
  void destinationWanted(const std::string&) override {}
  void contactSent(const std::string&) override {}
  void contactNotSent(const std::string&, const std::string&) override {}

 private:
  std::optional<Outcome> m_outcome;
};

}  // namespace

AcceptCommand::AcceptCommand(CLI::App& parent)
    : Command(
          parent, "accept", "Store every card that waits for an answer",
          "Acts on all waiting cards at once and tells the outcome. When a card can't be stored\n"
          "the others still are, none waits any more, and the exit code is 1.\n"
          "--json prints {\"event\":\"received\",\"count\":N,\"first\":{...}}, or \"error\" in\n"
          "place of \"received\" when not all could be stored; no \"first\" when none waited.") {
  app().add_flag("--json", m_json, "The outcome as one JSON object");
}

int AcceptCommand::run(PhoneBus& bus) {
  const StopSignals signals;
  BlockingCall patient(bus, signals);
  LatestOutcome latest;
  PhoneObserver observer(bus, latest);
  PhoneObserver::checkSubscription(patient.run(PhoneObserver::subscription()));
  observer.listenTo(bus.phoneOwner());

  patient.run({kService, "vCardsAcceptedEvent", Parameters().body()});
  patient.waitUntil([&] { return latest.get().has_value(); }, kOutcomePatienceMilliseconds);
  if (!latest.get()) {
    throw Failure(kFailed,
                  "the phone took the answer but didn't tell the outcome. See: phonectl book list");
  }
  const Outcome& outcome = *latest.get();
  if (m_json) {
    printLine(cards::jsonLine(outcome.json()));
  } else if (outcome.stored) {
    printLine(outcome.sentence());
  } else {
    std::cerr << "phonectl: " << outcome.sentence() << std::endl;
  }
  return outcome.stored ? kDone : kFailed;
}

}  // namespace phonectl
