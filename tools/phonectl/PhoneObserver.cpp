#include "tools/phonectl/PhoneObserver.h"

#include <nlohmann/json.hpp>
#include <stdexcept>

#include "cards/SafeText.h"

namespace phonectl {

namespace {

constexpr const char* kIntrospection = R"(
<node>
  <interface name="org.obexphone.OBEXServiceObserverIfc">
    <method name="vCardReceivedEvent"><arg type="a{sv}" direction="in"/></method>
    <method name="vCardErrorEvent"><arg type="a{sv}" direction="in"/></method>
    <method name="vCardDestRequestEvent"><arg type="a{sv}" direction="in"/></method>
    <method name="vCardSendSuccEvent"><arg type="a{sv}" direction="in"/></method>
    <method name="vCardSendErrEvent"><arg type="a{sv}" direction="in"/></method>
    <method name="vCardAcceptEvent"><arg type="a{sv}" direction="in"/></method>
  </interface>
</node>)";

}  // namespace

std::optional<cards::Card> cardIn(const std::string& message) {
  try {
    return cards::cardFromMessage(message);
  } catch (const std::runtime_error&) {
    return std::nullopt;
  }
}

Outcome::Outcome(bool allStored, long long cardCount, const std::string& message)
    : stored(allStored), count(cardCount), first(cardIn(message)) {}

std::string Outcome::sentence() const {
  if (stored && count == 0) return "No card was waiting; nothing was stored.";
  const std::string name = first ? cards::displayName(*first) : "(unreadable card)";
  const bool one = count == 1;
  const std::string what = one ? "1 card" : std::to_string(count) + " cards";
  const std::string which = one ? ": " + name : ", the first is " + name;
  if (stored) return what + " stored" + which + ".";
  return (one ? "1 card could not be stored" : "Not all of " + what + " could be stored") + which +
         ". No card is waiting any more: see the phone's log for the reason and have them sent "
         "again.";
}

nlohmann::ordered_json Outcome::json() const {
  nlohmann::ordered_json json{{"event", stored ? "received" : "error"}};
  if (!stored) json["reason"] = "not stored";
  json["count"] = count;
  if (first) json["first"] = cards::cardJson(*first);
  return json;
}

PhoneObserver::PhoneObserver(PhoneBus& bus, PhoneEvents& events)
    : m_bus(bus),
      m_events(events),
      m_table([this](const auto&, const Glib::ustring& sender, const Glib::ustring&,
                     const Glib::ustring&, const Glib::ustring& member,
                     const Glib::VariantContainerBase& body,
                     const Glib::RefPtr<Gio::DBus::MethodInvocation>& call) {
        onCall(sender, member, body);
        call->return_value({});
      }) {
  try {
    const auto description = Gio::DBus::NodeInfo::create_for_xml(kIntrospection);
    m_registration = m_bus.connection()->register_object(
        kObserver.path, description->lookup_interface(kObserver.interface), m_table);
  } catch (const Glib::Error& error) {
    throw Failure(kFailed, "can't receive notifications: " + cards::safeText(error.what()));
  }
}

PhoneObserver::~PhoneObserver() { m_bus.connection()->unregister_object(m_registration); }

void PhoneObserver::listenTo(const std::string& owner) {
  m_owner = owner;
  m_sentAnnounced = false;
}

PhoneCall PhoneObserver::subscription() {
  return {kService, "subscribeEvent", Parameters().body()};
}

void PhoneObserver::checkSubscription(const Glib::VariantContainerBase& answer) {
  if (Parameters(answer).boolean("subscribeEventReturn").value_or(false)) return;
  throw Failure(kFailed, "the phone accepts no more observers",
                "end another phonectl watch and try again");
}

void PhoneObserver::onCall(const Glib::ustring& sender, const Glib::ustring& member,
                           const Glib::VariantContainerBase& body) {
  if (m_owner.empty() || sender.raw() != m_owner) return;
  const Parameters parameters(body);
  const auto text = [&](const char* name) { return parameters.text(name).value_or(""); };
  const long long count = parameters.number("countParam").value_or(0);
  if (member == "vCardAcceptEvent") {
    m_events.cardOffered(text("acceptParam"));
  } else if (member == "vCardReceivedEvent") {
    m_events.cardsAccepted(Outcome(true, count, text("vCardiParam")));
  } else if (member == "vCardErrorEvent" && text("errorParam").empty()) {
    m_events.cardUnreadable();
  } else if (member == "vCardErrorEvent") {
    m_events.cardsAccepted(Outcome(false, count, text("errorParam")));
  } else if (member == "vCardDestRequestEvent") {
    m_events.destinationWanted(text("infoParam"));
  } else if (member == "vCardSendSuccEvent") {
    onSent(text("infoParam"));
  } else if (member == "vCardSendErrEvent") {
    m_events.contactNotSent(text("infoParam"), text("bdaParam"));
  }
}

// The phone sends two notifications for each contact, the first with an empty name. A contact
// without a name has an empty one both times.
void PhoneObserver::onSent(const std::string& contact) {
  if (contact.empty() && !m_sentAnnounced) {
    m_sentAnnounced = true;
    return;
  }
  m_sentAnnounced = false;
  m_events.contactSent(contact);
}

}  // namespace phonectl
