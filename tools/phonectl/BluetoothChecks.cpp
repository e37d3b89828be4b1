#include "tools/phonectl/BluetoothChecks.h"

#include "cards/SafeText.h"
#include "host/bluetooth/ChannelProbe.h"

namespace phonectl {

namespace {

/// The push server's channel, if the phone isn't there to tell.
constexpr int kDefaultChannel = 4;

std::string allow(const std::string& whom) {
  return "change the system bus's policy so that " + whom +
         " may send to org.bluez (bluetooth.conf and others in /etc/dbus-1/system.d and "
         "/usr/share/dbus-1/system.d); then: sudo systemctl reload dbus";
}

const char* const kPhonesUser = "the phone's user";

std::string joined(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : ", ") + word;
  return cards::safeText(text);
}

}  // namespace

BluetoothChecks::BluetoothChecks(const StopSignals& signals,
                                 const std::optional<PhoneStatus>& status, pid_t phoneProcess,
                                 Diagnosis& diagnosis)
    : m_signals(signals),
      m_status(status),
      m_phoneProcess(phoneProcess),
      m_diagnosis(diagnosis),
      m_bluez(signals) {}

int BluetoothChecks::channel() const {
  const int channel = m_status ? m_status->channel() : 0;
  return channel != 0 ? channel : kDefaultChannel;
}

void BluetoothChecks::skip(const std::vector<const char*>& checks, const std::string& why) {
  for (const std::string what : checks)
    if (!m_virtual || what != "channel") m_diagnosis.unknown(what, "not checked: " + why);
}

void BluetoothChecks::examine() {
  const host::ChannelUse use = host::probeChannel(channel());
  const std::string missing = m_status ? m_status->missingRadio() : "";
  m_virtual = m_status && missing.empty() && !use.bluetooth;
  if (m_virtual) {
    m_diagnosis.good("radio", "virtual: programs on the same virtual radio can push");
    examineChannel();
    if (m_bluez.ready()) examineBluez();
    return;
  }
  const std::string problem =
      !missing.empty() ? missing : cards::safeText(use.bluetooth ? "" : use.problem);
  if (problem.empty()) {
    m_diagnosis.good("radio", "the kernel supports RFCOMM");
  } else {
    m_diagnosis.fault("radio", "no RFCOMM: " + problem,
                      "load the kernel modules: sudo modprobe bluetooth; sudo modprobe rfcomm");
  }
  examineBluez();
}

void BluetoothChecks::examineBluez() {
  if (!m_bluez.ready()) {
    m_diagnosis.fault("bluez", m_bluez.missing(),
                      m_bluez.denied() ? allow("your user")
                                       : "install and start it: sudo apt install bluez; sudo "
                                         "systemctl start dbus bluetooth");
    skip({"adapter", "power", "visibility", "channel", "record"}, "BlueZ is unavailable");
    return;
  }
  examinePhonesBluez();
  examineAdapter();
}

/// The phone may run as another user and be denied what this program may do.
void BluetoothChecks::examinePhonesBluez() {
  const bool phoneCan =
      !m_status || m_status->shown("bluetooth") == "ready" || m_status->shown("bluez") == "ready";
  if (phoneCan) {
    m_diagnosis.good("bluez", "bluetoothd is running");
    return;
  }
  m_diagnosis.fault(
      "bluez", "bluetoothd is running, but the phone can't use it: " + m_status->shown("bluetooth"),
      m_status->shown("bluez") == "denied" ? allow(kPhonesUser) + "; restart phone-host"
                                           : "restart phone-host; see its log");
}

void BluetoothChecks::examineAdapter() {
  const std::string wanted = m_status ? m_status->shown("adapter") : "";
  const bool phoneHasNone =
      m_status && m_status->shown("bluez") == "ready" && m_status->shown("adapter").empty();
  const host::AdapterFacts* const found = m_bluez.objects().adapter(wanted);
  if (found == nullptr || phoneHasNone) {
    const std::string name = found == nullptr ? "" : cards::safeText(found->shortName());
    m_diagnosis.fault(
        "adapter", phoneHasNone ? m_status->shown("bluetooth") : "there is no Bluetooth adapter",
        name.empty() ? "plug one in; to see whether the kernel detects it: sudo dmesg | grep -i "
                       "bluetooth"
                     : "plug it in, or start phone-host with another one: --adapter " + name);
    skip({"power", "visibility", "channel", "record"}, "there is no adapter");
    return;
  }
  m_adapter = *found;
  m_diagnosis.good("adapter", cards::safeText(m_adapter->shortName() + ", " + m_adapter->address +
                                              ", named " + m_adapter->name));
  examinePower();
  examineVisibility();
  if (!m_virtual) examineChannel();
  examineRecord();
}

void BluetoothChecks::examinePower() {
  if (m_adapter->powered) {
    m_diagnosis.good("power", "the adapter is on");
  } else {
    m_diagnosis.fault("power", "the adapter is switched off",
                      "bluetoothctl power on; if that is refused: sudo rfkill unblock bluetooth");
  }
}

void BluetoothChecks::examineVisibility() {
  const std::string problem = m_status ? m_status->shown("visibleProblem") : "";
  if (!m_adapter->powered) {
    m_diagnosis.unknown("visibility", "not checked: the adapter is off");
  } else if (m_adapter->discoverable) {
    m_diagnosis.good("visibility", "other phones can find this one");
  } else if (m_status && m_status->shown("strangers") == "refuse") {
    // Paired phones find it even if it isn't visible.
    m_diagnosis.good("visibility",
                     "only paired phones can find this one; no others are admitted anyway");
  } else {
    m_diagnosis.fault("visibility",
                      "phones that aren't paired can't find this one: the adapter is not visible" +
                          (problem.empty() ? "" : " (" + problem + ")"),
                      "phonectl receive on --visible 3m");
  }
}

void BluetoothChecks::examineChannel() {
  const std::string number = std::to_string(channel());
  if (channelIsTaken()) {
    m_diagnosis.fault("channel", "RFCOMM channel " + number + " is taken " + channelHolders(),
                      "end that program; while receiving is on, the phone keeps trying");
  } else if (m_virtual || host::probeChannel(channel()).bluetooth) {
    m_diagnosis.good("channel", "no other program listens on RFCOMM channel " + number);
  }
}

/// The phone listens on all adapters at once; a program that listens on one of them gets the
/// connections of that one.
bool BluetoothChecks::channelIsTaken() const {
  if (m_virtual)
    return !listening() && !host::findChannelHolders(channel(), m_phoneProcess).empty();
  return (!listening() && host::probeChannel(channel()).taken) ||
         host::probeChannel(channel(), m_adapter->address).taken;
}

std::string BluetoothChecks::channelHolders() const {
  std::vector<std::string> names;
  bool certain = true;
  for (const host::ChannelHolder& holder : host::findChannelHolders(channel(), m_phoneProcess)) {
    names.push_back(holder.program + " (process " + std::to_string(holder.process) + ")");
    certain = certain && holder.certain;
  }
  if (names.empty()) return "by another program (run this command as root to see which)";
  if (certain) return "by " + joined(names);
  return "probably by " + std::string(names.size() == 1 ? "" : "one of: ") + joined(names);
}

/// A machine can't reach itself by radio, except with a second adapter.
host::SdpQuery::Answer BluetoothChecks::askOwnRecords(std::string& how) const {
  for (const auto& [path, other] : m_bluez.objects().adapters()) {
    if (path == m_adapter->path || !other.powered || other.address.empty()) continue;
    how = "queried over the air from " + other.shortName();
    return askServices(m_signals, m_adapter->address, other.address);
  }
  how = "queried from bluetoothd's local socket";
  host::SdpQuery query;
  return query.askLocal();
}

void BluetoothChecks::examineRecord() {
  const std::string record = m_status ? m_status->shown("record") : "";
  if (!m_adapter->powered) {
    m_diagnosis.unknown("record", "not checked: the adapter is off");
  } else if (!listening()) {
    m_diagnosis.fault("record", "no service record: it is published while the phone receives",
                      m_status ? "phonectl receive on" : "start phone-host; phonectl receive on");
  } else if (record != "published") {
    m_diagnosis.fault("record", "the service record is not published: " + record,
                      m_status->recordDenied()
                          ? allow(kPhonesUser)
                          : "restart bluetoothd (sudo systemctl restart bluetooth); see the log of "
                            "phone-host and `journalctl -u bluetooth`");
  } else {
    std::string how;
    const host::SdpQuery::Answer answer = askOwnRecords(how);
    judgeRecord(answer, how);
  }
}

void BluetoothChecks::judgeRecord(const host::SdpQuery::Answer& answer, const std::string& how) {
  const std::string number = std::to_string(channel());
  if (answer.outcome != host::SdpQuery::Outcome::kAnswered) {
    m_diagnosis.good("record", "published by BlueZ for channel " + number +
                                   " (not verified, which takes a second adapter: " +
                                   cards::safeText(answer.problem) + ")");
    return;
  }
  std::vector<std::string> found;
  bool ours = false;
  for (const host::SdpRecord& record : answer.records) {
    found.push_back(std::to_string(record.channel) + " (" + record.name + ")");
    ours = ours || (record.channel == channel() && record.name == host::bluez::kRecordName);
  }
  if (ours) {
    m_diagnosis.good("record", "published for channel " + number + " (" + how + ")");
    return;
  }
  m_diagnosis.fault("record",
                    found.empty() ? "no service record is published (" + how + ")"
                                  : "no record for channel " + number + ", only for " +
                                        joined(found) + " (" + how + ")",
                    "phonectl receive off; phonectl receive on; or restart bluetoothd: sudo "
                    "systemctl restart bluetooth");
}

bool BluetoothChecks::anyTrusted() const {
  host::DeviceRegistry registry;
  registry.update(m_bluez.objects(), m_bluez.ready());
  for (const auto& [path, device] : m_bluez.objects().devices())
    if (registry.find(device.address).trust == host::Peer::TrustLevel::kTrusted) return true;
  return false;
}

void BluetoothChecks::examinePolicy() {
  if (!m_status || m_status->shown("strangers").empty()) return;
  const bool refuses = m_status->shown("strangers") == "refuse";
  const bool set = refuses || m_status->shown("trusted") == "accept";
  if (set && !m_status->knowsPeers()) {
    m_diagnosis.fault(
        "policy", "every device is refused, because BlueZ can't tell which are trusted",
        "fix the BlueZ problem, or start phone-host without --strangers, --trusted, --accept");
  } else if (!refuses) {
    m_diagnosis.good("policy", "all devices except blocked ones are admitted");
  } else if (!m_bluez.ready()) {
    m_diagnosis.unknown(
        "policy",
        "only trusted devices are admitted; not checked whether there is one: BlueZ is "
        "unavailable here");
  } else if (!anyTrusted()) {
    m_diagnosis.fault("policy", "only trusted devices are admitted, and there is none",
                      "pair and trust one: bluetoothctl pair ADDRESS; bluetoothctl trust ADDRESS");
  } else {
    m_diagnosis.good("policy", "only paired and trusted devices are admitted");
  }
}

}  // namespace phonectl
