#include "tools/phonectl/PhoneStatus.h"

#include <algorithm>
#include <array>

#include "cards/SafeText.h"

namespace phonectl {

namespace {

// The phone's main loop answers; it is never busy for long.
constexpr int kTimeoutMilliseconds = 20000;

constexpr const char* kRadioReady = "ready";
constexpr const char* kDefaultImagesFolder = "/data/images";

nlohmann::ordered_json jsonOf(const Glib::VariantBase& value) {
  if (const auto flag = Parameters::booleanIn(value)) return *flag;
  if (const auto number = Parameters::numberIn(value)) return *number;
  if (const auto text = Parameters::textIn(value)) return *text;
  return value.print(false).raw();
}

constexpr const char* kSwitching = "obexEnableEvent";
constexpr const char* kSending = "vCardSendEvent";

/// What the phone is doing while it handles a message.
struct Activity {
  const char* message;
  const char* description;
};

constexpr std::array<Activity, 3> kActivities = {{
    {kSwitching, "switching receiving on or off"},
    {kSending, "sending a card"},
    {"vCardsAcceptedEvent", "storing cards"},
}};

std::string describe(const std::string& message) {
  const auto* const known =
      std::find_if(kActivities.begin(), kActivities.end(),
                   [&](const Activity& activity) { return activity.message == message; });
  if (known != kActivities.end()) return known->description;
  return message.empty() ? "unknown work" : cards::safeText(message);
}

std::string line(std::string label, const std::string& shown) {
  label.resize(11, ' ');
  return label + shown;
}

}  // namespace

PhoneCall PhoneStatus::question() {
  const std::vector<Glib::VariantBase> nothing;
  return {kPhone, "Status", Glib::VariantContainerBase::create_tuple(nothing),
          kTimeoutMilliseconds};
}

std::string PhoneStatus::imagesFolder() const {
  return m_values.text("images").value_or(kDefaultImagesFolder);
}

host::Problem PhoneStatus::imagesProblem() const {
  return {m_values.text("imagesProblem").value_or(""),
          m_values.text("imagesRemedy").value_or("give phone-host write access to the folder")};
}

std::string PhoneStatus::missingRadio() const {
  const std::string radio = m_values.text("radio").value_or(kRadioReady);
  return radio == kRadioReady ? "" : cards::safeText(radio);
}

std::string PhoneStatus::busyWith() const {
  if (!m_values.boolean("busy").value_or(false)) return "";
  const long long seconds = m_values.number("busySeconds").value_or(0);
  return describe(m_values.text("busyWith").value_or("")) + " for " + std::to_string(seconds) +
         " s";
}

bool PhoneStatus::sending() const {
  return m_values.boolean("busy").value_or(false) && m_values.text("busyWith") == kSending;
}

bool PhoneStatus::switching() const {
  return m_values.boolean("busy").value_or(false) && m_values.text("busyWith") == kSwitching;
}

std::string PhoneStatus::shown(const std::string& name) const {
  return cards::safeText(m_values.text(name).value_or(""));
}

std::string PhoneStatus::receivingLine() const {
  if (!listenError().empty()) return "on, but the phone can't listen: " + listenError();
  if (!listening()) return missingRadio().empty() ? "off" : "off, or waiting for the radio";
  const auto channel = m_values.number("channel");
  const std::string peer = shown("peer");
  const std::string name = shown("peerName");
  const std::string trust = shown("peerTrust");
  return "on" + (channel ? ", channel " + std::to_string(*channel) : "") +
         (peer.empty() ? "" : ", linked to " + peer) + (name.empty() ? "" : " (" + name + ")") +
         (trust.empty() ? "" : ", " + trust);
}

std::string PhoneStatus::bluetoothLine() const {
  const std::string adapter = shown("adapter");
  if (adapter.empty()) return shown("bluetooth");
  const bool powered = m_values.boolean("powered").value_or(false);
  const long long seconds = m_values.number("visibleSeconds").value_or(0);
  return adapter + ", " + shown("adapterAddress") +
         (powered ? discoverable() ? ", visible" : ", on, but not visible" : ", switched off") +
         (discoverable() && seconds > 0 ? " for " + std::to_string(seconds) + " s" : "");
}

std::string PhoneStatus::recordLine() const {
  const std::string record = shown("record");
  return record == "off" ? "" : record;
}

std::string PhoneStatus::policyLine() const {
  const std::string strangers = shown("strangers");
  const std::string trusted = shown("trusted");
  if (strangers.empty() || trusted.empty()) return "";
  if (strangers == "ask" && trusted == "ask") return "every card needs confirmation";
  return std::string("strangers ") + (strangers == "refuse" ? "are refused" : "need confirmation") +
         ", cards of trusted devices " + (trusted == "accept" ? "are stored" : "need confirmation");
}

std::string PhoneStatus::busyLine() const {
  const std::string what = busyWith();
  const long long queued = m_values.number("queued").value_or(0);
  return (what.empty() ? "no" : what) +
         (queued > 0 ? ", " + std::to_string(queued) +
                           (queued == 1 ? " more request queued" : " more requests queued")
                     : "");
}

std::vector<std::string> PhoneStatus::lines() const {
  std::vector<std::string> lines{
      line("phone", "running, version " + shown("version")),
      line("radio", missingRadio().empty() ? kRadioReady : missingRadio()),
      line("receiving", receivingLine()),
      line("busy", busyLine()),
  };
  const auto addKnown = [&lines](const char* label, const std::string& text) {
    if (!text.empty()) lines.push_back(line(label, text));
  };
  addKnown("bluetooth", bluetoothLine());
  addKnown("record", recordLine());
  addKnown("policy", policyLine());
  for (const char* name : {"phonebook", "images", "plugin"}) {
    const std::string value = shown(name);
    if (!value.empty()) lines.push_back(line(name, value));
  }
  return lines;
}

nlohmann::ordered_json PhoneStatus::json() const {
  nlohmann::ordered_json json = nlohmann::ordered_json::object();
  for (const auto& [name, value] : m_values.all()) json[name.raw()] = jsonOf(value);
  return json;
}

}  // namespace phonectl
