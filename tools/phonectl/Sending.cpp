#include "tools/phonectl/Sending.h"

#include <unistd.h>

#include <iostream>
#include <utility>

#include "cards/Card.h"
#include "cards/SafeText.h"
#include "tools/phonectl/PhoneStatus.h"

namespace phonectl {

namespace {

// The phone sends notifications before its reply, but we may see them after that.
constexpr unsigned kEventTimeoutMilliseconds = 5000;
constexpr unsigned kOutcomeTimeoutMilliseconds = 1000;

constexpr const char* kPendingRemedy =
    "The contact is still pending: phonectl send --pending --to ADDRESS sends it, phonectl cancel "
    "drops it";

std::string notSent(const std::string& contact, const Destination& destination) {
  return shownContact(contact) + " was not sent to " + destination.shown() +
         ". Check the address and channel, and that the device is switched on, in range, visible "
         "and ready to receive.\n" +
         kPendingRemedy;
}

std::string replaced(const std::string& contact, bool sent, const Destination& destination) {
  return "another program replaced the pending contact: " + shownContact(contact) +
         (sent ? " was sent to " : " was not sent to ") + destination.shown() +
         ". Send yours again";
}

/// Shows on standard error how long a transfer has been running: in a terminal one line updated
/// every second, elsewhere a sentence after two seconds. Lives as long as the transfer.
class SendProgress {
 public:
  /// `work` is what is in progress, safe to print: "sending to 66:77:88:99:AA:BB, channel 9".
  SendProgress(PhoneBus& bus, std::string work);
  ~SendProgress();
  SendProgress(const SendProgress&) = delete;
  SendProgress& operator=(const SendProgress&) = delete;

 private:
  bool tick();
  void answered(const PhoneBus::Answer& answer);
  void show();

  PhoneBus& m_bus;
  const std::string m_work;
  const bool m_terminal;
  std::string m_otherWork;  ///< what the phone finishes first
  unsigned m_seconds = 0;
  bool m_asking = false;
  sigc::connection m_timer;
  Lifetime m_lifetime;
};

SendProgress::SendProgress(PhoneBus& bus, std::string work)
    : m_bus(bus), m_work(std::move(work)), m_terminal(::isatty(STDERR_FILENO) == 1) {
  m_timer = Glib::signal_timeout().connect([this] { return tick(); }, 1000);
  if (m_terminal) show();
}

SendProgress::~SendProgress() {
  m_timer.disconnect();
  if (m_terminal) std::cerr << kEraseLine << std::flush;
}

bool SendProgress::tick() {
  m_seconds += 1;
  if (!m_asking) {
    m_asking = true;
    m_bus.call(PhoneStatus::question(),
               m_lifetime.bind([this](const PhoneBus::Answer& answer) { answered(answer); }));
  }
  return true;
}

void SendProgress::answered(const PhoneBus::Answer& answer) {
  constexpr unsigned kNoticeSeconds = 2;
  m_asking = false;
  // A phone that is gone fails the pending call as well, which reports it.
  if (answer.failure) return;
  const PhoneStatus status(answer.body);
  m_otherWork = status.sending() ? "" : status.busyWith();
  if (m_terminal || m_seconds == kNoticeSeconds) show();
}

void SendProgress::show() {
  const std::string text = m_otherWork.empty() ? m_work + " for " + std::to_string(m_seconds) + " s"
                                               : "the phone is busy (" + m_otherWork + "); waiting";
  if (m_terminal) {
    std::cerr << kEraseLine << text << std::flush;
  } else {
    std::cerr << "phonectl: " << text << ". Press Ctrl-C to leave." << std::endl;
  }
}

}  // namespace

std::string shownContact(const std::string& contact) {
  return contact.empty() ? "(no name)" : cards::safeText(contact, cards::kMaxShown);
}

std::string Destination::shown() const { return address + ", channel " + std::to_string(channel); }

Sending::Sending(PhoneBus& bus, const StopSignals& signals)
    : m_bus(bus), m_call(bus, signals), m_observer(bus, *this) {
  PhoneObserver::checkSubscription(m_call.run(PhoneObserver::subscription()));
  m_observer.listenTo(bus.phoneOwner());
}

void Sending::handOver(const cards::Contact& contact) {
  Parameters parameters;
  for (const cards::ContactField& field : cards::contactFields()) {
    parameters.addText(field.parameter, contact.*field.value);
  }
  m_handedOver.reset();
  m_handingOver = true;
  m_call.run({kService, "vCardSendContactEvent", parameters.body()});
  const bool asked =
      m_call.waitUntil([&] { return m_handedOver.has_value(); }, kEventTimeoutMilliseconds);
  m_handingOver = false;
  m_replaced = false;
  if (asked) return;
  throw Failure(kFailed,
                std::string("the phone accepted the contact but asked for no destination.\n") +
                    kPendingRemedy);
}

std::string Sending::sendTo(const Destination& destination) {
  const Outcome outcome = attempt(destination);
  if (outcome.replaced)
    throw Failure(kFailed, replaced(outcome.contact, outcome.sent, destination));
  if (!outcome.sent) throw Failure(kFailed, notSent(outcome.contact, destination));
  return outcome.contact;
}

Sending::Outcome Sending::attempt(const Destination& destination) {
  // Drops the outcome of another program's attempt.
  while (Glib::MainContext::get_default()->iteration(false)) continue;
  m_outcome.reset();
  const Glib::VariantContainerBase body = Parameters()
                                              .addText("bdaParam", destination.address)
                                              .addInt("channelParam", destination.channel)
                                              .body();
  const SendProgress progress(m_bus, "sending to " + destination.shown());
  m_call.runQuietly({kService, "vCardSendEvent", body});
  if (m_call.waitUntil([&] { return m_outcome.has_value(); }, kOutcomeTimeoutMilliseconds)) {
    return *m_outcome;
  }
  throw Failure(kFailed, "the phone has no pending contact",
                "name one: phonectl send CONTACT --to ADDRESS");
}

// During the hand-over, the last request before the reply is about our contact; a later one is
// about a contact that replaces it.
void Sending::destinationWanted(const std::string& contact) {
  if (m_handingOver) {
    m_handedOver = contact;
  } else {
    m_replaced = m_handedOver.has_value();
  }
}

void Sending::contactSent(const std::string& contact) { takeOutcome(true, contact); }

void Sending::contactNotSent(const std::string& contact, const std::string&) {
  takeOutcome(false, contact);
}

// The last outcome before the phone's reply is ours.
void Sending::takeOutcome(bool sent, const std::string& contact) {
  m_outcome = Outcome{sent, contact, m_replaced};
}

}  // namespace phonectl
