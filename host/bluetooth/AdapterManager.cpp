#include "host/bluetooth/AdapterManager.h"

#include <algorithm>
#include <array>
#include <utility>

#include "host/loader/HostLog.h"

namespace host {
namespace {

constexpr unsigned kMaxRetries = 6;  ///< ten seconds

constexpr std::array<const char*, 3> kTemporary = {
    "org.bluez.Error.Busy", "org.bluez.Error.InProgress", "org.bluez.Error.NotReady"};

bool isTemporary(const Bluez::Reply& reply) {
  // BlueZ reports the kernel's EBUSY as a general failure with this text.
  if (reply.error == "org.bluez.Error.Failed" && reply.text == "Busy") return true;
  return std::find(kTemporary.begin(), kTemporary.end(), reply.error) != kTemporary.end();
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
  m_backoff.reset();
  m_retries = 0;
  ++m_attempt;
  m_underWay = false;
}

void AdapterSwitch::update() {
  // During an attempt the property may still show the outcome of an earlier one.
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
  } else if (isTemporary(reply) && m_retries < kMaxRetries) {
    ++m_retries;
    m_timer = Glib::signal_timeout().connect(
        [this] {
          attempt();
          return false;
        },
        m_backoff.next());
  } else {
    m_problem = m_complaint + ": " + reply.reason();
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

void AdapterManager::setReceiving(bool on) {
  if (m_receiving == on) return;
  m_receiving = on;
  m_switchedOn.clear();
  update();
}

void AdapterManager::makeVisible(int seconds) {
  m_end.disconnect();
  m_visibility.forget();
  m_shown.clear();
  m_visible = seconds != 0;
  // A user who wants it visible wants it on, even if it was switched off since.
  if (m_visible) m_switchedOn.clear();
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
    m_visibility.turn(adapter()->path, false, "the adapter can't be hidden");
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
    // An adapter that comes back counts as a new one.
    m_generation = m_bluez.generation();
    m_switchedOn.clear();
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
    // It becomes visible again once it is on.
    m_shown.clear();
    m_visibility.forget();
  }
  if ((m_receiving || m_visible) && m_switchedOn != adapter.path) switchOn(adapter);
  if (m_visible && adapter.powered && m_shown != adapter.path) show(adapter);
}

void AdapterManager::switchOn(const AdapterFacts& adapter) {
  m_switchedOn = adapter.path;
  if (!adapter.powered) m_power.turn(adapter.path, true, "the adapter can't be switched on");
}

void AdapterManager::show(const AdapterFacts& adapter) {
  m_shown = adapter.path;
  const int seconds = std::max(secondsLeft(), 0);
  // bluetoothd counts, too, so that visibility ends even if this process doesn't live that long.
  m_bluez.set(adapter.path, bluez::kAdapter, "DiscoverableTimeout",
              g_variant_new_uint32(static_cast<guint32>(seconds)), [](const Bluez::Reply& reply) {
                if (!reply.body)
                  HOST_LOG_ERROR("can't set how long the adapter is visible: %s",
                                 reply.reason().c_str());
              });
  m_visibility.turn(adapter.path, true, "the adapter can't be made visible");
}

}  // namespace host
