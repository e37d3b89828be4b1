#include "tools/phonectl/PhoneObserver.h"

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
    throw Failure(kFailed, "can't listen for events: " + cards::safeText(error.what()));
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
  throw Failure(kFailed,
                "the phone takes no more observers. End another `phonectl watch` and try again");
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
    m_events.cardsStored(text("vCardiParam"), count);
  } else if (member == "vCardErrorEvent" && text("errorParam").empty()) {
    m_events.cardUnreadable();
  } else if (member == "vCardErrorEvent") {
    m_events.cardsNotStored(text("errorParam"), count);
  } else if (member == "vCardDestRequestEvent") {
    m_events.destinationWanted(text("infoParam"));
  } else if (member == "vCardSendSuccEvent") {
    onSent(text("infoParam"));
  } else if (member == "vCardSendErrEvent") {
    m_events.contactNotSent(text("infoParam"), text("bdaParam"));
  }
}

// The phone tells of each contact twice, first with an empty text. A contact without a name has an
// empty text both times.
void PhoneObserver::onSent(const std::string& contact) {
  if (contact.empty() && !m_sentAnnounced) {
    m_sentAnnounced = true;
    return;
  }
  m_sentAnnounced = false;
  m_events.contactSent(contact);
}

}  // namespace phonectl
