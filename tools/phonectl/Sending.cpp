#include "tools/phonectl/Sending.h"

#include "cards/CardText.h"
#include "cards/SafeText.h"
#include "tools/phonectl/SendProgress.h"

namespace phonectl {

namespace {

// What the phone tells is sent before its answer; it may only be dispatched after it.
constexpr unsigned kEventPatienceMilliseconds = 5000;
constexpr unsigned kOutcomePatienceMilliseconds = 1000;

constexpr const char* kWhatNow =
    "The contact still waits in the phone: phonectl send --pending --to ADDRESS sends it, "
    "phonectl cancel drops it";

std::string notSent(const std::string& contact, const Destination& destination) {
  return shownContact(contact) + " was not sent to " + destination.shown() +
         ". Check the address and the channel, and that the device is switched on, in reach, "
         "visible and listening for cards.\n" +
         kWhatNow;
}

std::string replaced(const std::string& contact, bool sent, const Destination& destination) {
  return "somebody else handed another contact to the phone meanwhile, which took the place of "
         "this one: " +
         shownContact(contact) + (sent ? " was sent to " : " was not sent to ") +
         destination.shown() + ". Send yours again";
}

}  // namespace

std::string shownContact(const std::string& contact) {
  return contact.empty() ? "(no name)" : cards::safeText(contact, cards::kMaxShown);
}

std::string Destination::shown() const { return address + ", channel " + std::to_string(channel); }

Sending::Sending(PhoneBus& bus, const StopSignals& signals)
    : m_bus(bus), m_patient(bus, signals), m_observer(bus, *this) {
  PhoneObserver::checkSubscription(m_patient.run(PhoneObserver::subscription()));
  m_observer.listenTo(bus.phoneOwner());
}

void Sending::handOver(const contacts::Contact& contact) {
  Parameters parameters;
  for (const contacts::ContactField& field : contacts::contactFields()) {
    parameters.addText(field.parameter, contact.*field.value);
  }
  m_handedOver.reset();
  m_handingOver = true;
  m_patient.run({kService, "vCardSendContactEvent", parameters.body()});
  const bool asked =
      m_patient.waitUntil([&] { return m_handedOver.has_value(); }, kEventPatienceMilliseconds);
  m_handingOver = false;
  m_replaced = false;
  if (asked) return;
  throw Failure(
      kFailed,
      std::string("the phone took the contact but didn't ask for a destination.\n") + kWhatNow);
}

std::string Sending::sendTo(const Destination& destination) {
  const Outcome outcome = attempt(destination);
  if (outcome.replaced)
    throw Failure(kFailed, replaced(outcome.contact, outcome.sent, destination));
  if (!outcome.sent) throw Failure(kFailed, notSent(outcome.contact, destination));
  return outcome.contact;
}

Sending::Outcome Sending::attempt(const Destination& destination) {
  // What somebody else's attempt came to is not ours.
  while (Glib::MainContext::get_default()->iteration(false)) continue;
  m_outcome.reset();
  const Glib::VariantContainerBase body = Parameters()
                                              .addText("bdaParam", destination.address)
                                              .addInt("channelParam", destination.channel)
                                              .body();
  const SendProgress progress(m_bus, "sending to " + destination.shown());
  m_patient.runQuietly({kService, "vCardSendEvent", body});
  if (m_patient.waitUntil([&] { return m_outcome.has_value(); }, kOutcomePatienceMilliseconds)) {
    return *m_outcome;
  }
  throw Failure(kFailed,
                "the phone had no contact to send. Name one: phonectl send CONTACT --to ADDRESS "
                "--channel N");
}

// While a contact is handed over, the last question before the answer is about it; a later one is
// about a contact that takes its place.
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

// Of several, the last one before the phone's answer is ours.
void Sending::takeOutcome(bool sent, const std::string& contact) {
  m_outcome = Outcome{sent, contact, m_replaced};
}

}  // namespace phonectl
