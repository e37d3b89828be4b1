#include "tools/phonectl/Sending.h"

#include "tools/cards/CardText.h"
#include "tools/cards/SafeText.h"
#include "tools/phonectl/SendProgress.h"

namespace phonectl {

namespace {

// What the phone tells is sent before its answer; it may only be dispatched after it.
constexpr unsigned kEventPatienceMilliseconds = 5000;
constexpr unsigned kOutcomePatienceMilliseconds = 1000;

constexpr const char* kWhatNow =
    "The contact still waits in the phone: phonectl send --pending --to ADDRESS --channel N sends "
    "it, phonectl cancel drops it";

std::string notSent(const std::string& contact, const Destination& destination) {
  return shownContact(contact) + " was not sent to " + destination.shown() +
         ". Check the address and the channel, and that the device is switched on, in reach, "
         "visible and listening for cards.\n" +
         kWhatNow;
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
  m_wanted.reset();
  m_patient.run({kService, "vCardSendContactEvent", parameters.body()});
  if (m_patient.waitUntil([&] { return m_wanted.has_value(); }, kEventPatienceMilliseconds)) return;
  throw Failure(
      kFailed,
      std::string("the phone took the contact but didn't ask for a destination.\n") + kWhatNow);
}

std::string Sending::sendTo(const Destination& destination) {
  const std::optional<std::string> handedOver = m_wanted;
  const Outcome outcome = attempt(destination);
  if (!outcome.sent) throw Failure(kFailed, notSent(outcome.contact, destination));
  if (handedOver && *handedOver != outcome.contact) {
    throw Failure(kFailed, "another contact, " + shownContact(outcome.contact) + ", was sent to " +
                               destination.shown() + " in place of " + shownContact(*handedOver) +
                               ": somebody handed it to the phone at the same time");
  }
  return outcome.contact;
}

Sending::Outcome Sending::attempt(const Destination& destination) {
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

void Sending::destinationWanted(const std::string& contact) { m_wanted = contact; }

void Sending::contactSent(const std::string& contact) { m_outcome = Outcome{true, contact}; }

void Sending::contactNotSent(const std::string& contact, const std::string&) {
  m_outcome = Outcome{false, contact};
}

}  // namespace phonectl
