#include "host/bluetooth/AdapterManager.h"

#include <algorithm>
#include <array>
#include <utility>

#include "host/loader/HostLog.h"

namespace host {
namespace {

/// Before it is tried again, in milliseconds.
constexpr std::array<unsigned, 6> kPauses = {200, 400, 800, 1600, 3000, 4000};

constexpr std::array<const char*, 3> kPassing = {
    "org.bluez.Error.Busy", "org.bluez.Error.InProgress", "org.bluez.Error.NotReady"};

/// Whether the same may be possible a moment later.
bool passes(const Bluez::Reply& reply) {
  // What the kernel says, BlueZ passes on in the text of another error.
  if (reply.error == "org.bluez.Error.Failed" && reply.text == "Busy") return true;
  return std::find(kPassing.begin(), kPassing.end(), reply.error) != kPassing.end();
}

}  // namespace

AdapterSwitch::AdapterSwitch(Bluez& bluez, const char* property, bool AdapterFacts::*fact)
    : m_bluez(bluez), m_property(property), m_fact(fact) {}

AdapterSwitch::~AdapterSwitch() { m_timer.disconnect(); }

void AdapterSwitch::turn(const std::string& path, bool on, const std::string& complaint) {
  forget();
  m_path = path;
  m_on = on;
  m_complaint = complaint;
  attempt();
}

void AdapterSwitch::forget() {
  m_timer.disconnect();
  m_path.clear();
  m_problem.clear();
  m_pauses = 0;
  ++m_attempt;
  m_underWay = false;
}

// While an attempt is under way, what is told may be the outcome of a former one.
void AdapterSwitch::update() {
  if (!m_path.empty() && !m_underWay && isTurned()) forget();
}

bool AdapterSwitch::isTurned() const {
  const auto& adapters = m_bluez.objects().adapters();
  const auto adapter = adapters.find(m_path);
  return adapter != adapters.end() && adapter->second.*m_fact == m_on;
}

void AdapterSwitch::attempt() {
  m_underWay = true;
  m_bluez.set(m_path, bluez::kAdapter, m_property, g_variant_new_boolean(m_on ? TRUE : FALSE),
              [this, number = ++m_attempt](const Bluez::Reply& reply) {
                if (number == m_attempt) answered(reply);
              });
}

void AdapterSwitch::answered(const Bluez::Reply& reply) {
  m_underWay = false;
  if (reply.body || isTurned()) {
    forget();
  } else if (passes(reply) && m_pauses < kPauses.size()) {
    m_timer = Glib::signal_timeout().connect(
        [this] {
          attempt();
          return false;
        },
        kPauses[m_pauses++]);
  } else {
    m_problem = m_complaint + ": " + (reply.text.empty() ? reply.error : reply.text);
    HOST_LOG_ERROR("%s", m_problem.c_str());
  }
}

AdapterManager::AdapterManager(Bluez& bluez, std::string wanted)
    : m_bluez(bluez),
      m_wanted(std::move(wanted)),
      m_power(bluez, "Powered", &AdapterFacts::powered),
      m_visibility(bluez, "Discoverable", &AdapterFacts::discoverable) {}

AdapterManager::~AdapterManager() { m_end.disconnect(); }

const AdapterFacts* AdapterManager::adapter() const {
  return m_bluez.ready() ? m_bluez.objects().adapter(m_wanted) : nullptr;
}

void AdapterManager::receive(bool on) {
  if (m_receiving == on) return;
  m_receiving = on;
  m_caredFor.clear();
  update();
}

void AdapterManager::makeVisible(int seconds) {
  m_end.disconnect();
  m_visibility.forget();
  m_shown.clear();
  m_visible = seconds != 0;
  // Who wants it visible wants it on, also if it was switched off since.
  if (m_visible) m_caredFor.clear();
  m_until.reset();
  if (seconds > 0) {
    m_until = Clock::now() + std::chrono::seconds(seconds);
    m_end = Glib::signal_timeout().connect_seconds(
        [this] {
          makeVisible(0);
          return false;
        },
        static_cast<unsigned>(seconds));
  }
  if (!m_visible && adapter() != nullptr)
    m_visibility.turn(adapter()->path, false, "the adapter can't be made invisible");
  update();
}

int AdapterManager::secondsLeft() const {
  if (!m_visible) return 0;
  if (!m_until) return kForEver;
  const auto left = std::chrono::ceil<std::chrono::seconds>(*m_until - Clock::now());
  return std::max(static_cast<int>(left.count()), 1);
}

std::string AdapterManager::problem() const {
  if (!m_bluez.ready()) return m_bluez.missing();
  if (adapter() == nullptr)
    return m_wanted.empty() ? "there is no Bluetooth adapter"
                            : "there is no Bluetooth adapter " + m_wanted;
  return m_power.problem().empty() ? m_visibility.problem() : m_power.problem();
}

void AdapterManager::update() {
  const AdapterFacts* const found = adapter();
  if (found == nullptr || m_generation != m_bluez.generation()) {
    // One that comes back is another one.
    m_generation = m_bluez.generation();
    m_caredFor.clear();
    m_shown.clear();
    m_power.forget();
    m_visibility.forget();
  }
  if (found == nullptr) return;
  const AdapterFacts adapter = *found;
  m_power.update();
  m_visibility.update();
  if (!m_receiving && !m_visible) m_power.forget();
  if (!adapter.powered) {
    // It is shown when it is on again.
    m_shown.clear();
    m_visibility.forget();
  }
  if ((m_receiving || m_visible) && m_caredFor != adapter.path) switchOn(adapter);
  if (m_visible && adapter.powered && m_shown != adapter.path) showAdapter(adapter);
}

void AdapterManager::switchOn(const AdapterFacts& adapter) {
  m_caredFor = adapter.path;
  if (!adapter.powered) m_power.turn(adapter.path, true, "the adapter can't be switched on");
}

/// The adapter counts for itself, so that it does not stay visible should the telephone end.
void AdapterManager::showAdapter(const AdapterFacts& adapter) {
  m_shown = adapter.path;
  const int seconds = std::max(secondsLeft(), 0);
  m_bluez.set(adapter.path, bluez::kAdapter, "DiscoverableTimeout",
              g_variant_new_uint32(static_cast<guint32>(seconds)), [](const Bluez::Reply& reply) {
                if (!reply.body)
                  HOST_LOG_ERROR("the adapter doesn't take how long it is to be visible: %s",
                                 (reply.text.empty() ? reply.error : reply.text).c_str());
              });
  m_visibility.turn(adapter.path, true, "the adapter can't be made visible");
}

}  // namespace host
