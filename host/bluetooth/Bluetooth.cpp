#include "host/bluetooth/Bluetooth.h"

#include "host/loader/HostLog.h"

namespace host {
namespace {

/// A server listens again within a tenth of this after a connection has ended.
constexpr unsigned kReopenMilliseconds = 1000;

}  // namespace

Bluetooth::Bluetooth(const std::string& adapter) : m_record(m_bluez), m_adapter(m_bluez, adapter) {}

Bluetooth::~Bluetooth() { stop(); }

void Bluetooth::start() {
  m_bluez.start([this] { changed(); });
}

void Bluetooth::stop() {
  m_pause.disconnect();
  m_bluez.stop();
}

void Bluetooth::listening(int channel) {
  m_pause.disconnect();
  if (channel != 0) {
    setChannel(channel);
    return;
  }
  m_pause = Glib::signal_timeout().connect(
      [this] {
        setChannel(0);
        return false;
      },
      kReopenMilliseconds);
}

void Bluetooth::setChannel(int channel) {
  m_channel = channel;
  m_adapter.setReceiving(channel != 0);
  m_record.want(channel);
}

void Bluetooth::changed() {
  m_peers.update(m_bluez.objects(), m_bluez.ready());
  m_adapter.update();
  m_record.update();
  const std::string now = missing();
  if (now == m_logged) return;
  m_logged = now;
  if (now.empty())
    HOST_LOG_ERROR("Bluetooth: using adapter %s", m_adapter.adapter()->shortName().c_str());
  else
    HOST_LOG_ERROR("Bluetooth: other phones can't find this one: %s", now.c_str());
}

std::string Bluetooth::missing() const {
  if (!m_bluez.ready()) return m_bluez.missing();
  return m_adapter.adapter() == nullptr ? m_adapter.problem() : "";
}

std::string Bluetooth::recordState() const {
  if (m_channel == 0) return "off";
  if (!m_bluez.ready()) return m_bluez.missing();
  if (!m_record.problem().empty()) return m_record.problem();
  if (!m_record.registered()) return "not registered with BlueZ yet";
  const AdapterFacts* const adapter = m_adapter.adapter();
  if (adapter == nullptr) return m_adapter.problem();
  if (!adapter->offers(bluez::kObjectPush))
    return "registered with BlueZ, but the adapter doesn't advertise it";
  return "published";
}

std::string Bluetooth::bluezState() const {
  if (m_bluez.ready()) return "ready";
  return m_bluez.denied() ? "denied" : "missing";
}

Bluetooth::State Bluetooth::state() const {
  State state;
  state.missing = missing();
  state.bluez = bluezState();
  state.visibleSeconds = m_adapter.secondsLeft();
  state.record = recordState();
  state.recordDenied = m_record.denied();
  const AdapterFacts* const adapter = m_adapter.adapter();
  if (adapter != nullptr) {
    state.adapter = adapter->shortName();
    state.address = adapter->address;
    state.powered = adapter->powered;
    state.discoverable = adapter->powered && adapter->discoverable;
  }
  if (state.visibleSeconds != 0 && !state.discoverable) state.visibleProblem = m_adapter.problem();
  return state;
}

}  // namespace host
