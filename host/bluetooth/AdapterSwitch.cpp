#include "host/bluetooth/AdapterSwitch.h"

#include <algorithm>
#include <array>

#include "host/bluetooth/BluezNames.h"
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

}  // namespace host
