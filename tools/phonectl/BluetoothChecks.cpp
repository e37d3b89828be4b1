#include "tools/phonectl/BluetoothChecks.h"

#include "cards/SafeText.h"

namespace phonectl {

namespace {

/// Of the push server, when the telephone isn't there to say it.
constexpr int kUsualChannel = 4;

/// What to do about a bus that lets nothing of theirs through to BlueZ.
std::string letThrough(const std::string& whose) {
  return "have the policy of the system bus let " + whose +
         " send to org.bluez (bluetooth.conf and others in /etc/dbus-1/system.d and "
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
  return channel != 0 ? channel : kUsualChannel;
}

void BluetoothChecks::blameNobody(const std::vector<const char*>& checks, const std::string& why) {
  for (const char* what : checks) m_diagnosis.unknown(what, "not known: " + why);
}

void BluetoothChecks::examine() {
  m_use = host::probeChannel(channel(), {});
  const std::string missing = m_status ? m_status->missingRadio() : "";
  if (m_status && missing.empty() && !m_use.bluetooth) {
    // The telephone has what the machine hasn't.
    m_diagnosis.good("radio", "a virtual one: programs on the same virtual radio can push");
    if (m_bluez.ready()) examineBluez();
    return;
  }
  const std::string problem =
      !missing.empty() ? missing : cards::safeText(m_use.bluetooth ? "" : m_use.problem);
  if (problem.empty()) {
    m_diagnosis.good("radio", "the kernel speaks RFCOMM");
  } else {
    m_diagnosis.fault("radio", "no RFCOMM: " + problem,
                      "load the kernel's modules: sudo modprobe bluetooth; sudo modprobe rfcomm");
  }
  examineBluez();
}

void BluetoothChecks::examineBluez() {
  if (!m_bluez.ready()) {
    m_diagnosis.fault("bluez", m_bluez.missing(),
                      m_bluez.denied() ? letThrough("the user who asks")
                                       : "install and start it: sudo apt install bluez; sudo "
                                         "systemctl start dbus bluetooth");
    blameNobody({"adapter", "power", "visibility", "channel", "record"},
                "BlueZ isn't there to say");
    return;
  }
  examinePhonesBluez();
  examineAdapter();
}

/// What this program can do, the phone may not be able to: it may be another user's.
void BluetoothChecks::examinePhonesBluez() {
  const bool canUseIt =
      !m_status || m_status->shown("bluetooth") == "ready" || m_status->shown("bluez") == "ready";
  if (canUseIt) {
    m_diagnosis.good("bluez", "bluetoothd runs");
    return;
  }
  m_diagnosis.fault(
      "bluez", "bluetoothd runs, but the phone can't use it: " + m_status->shown("bluetooth"),
      m_status->shown("bluez") == "denied" ? letThrough(kPhonesUser) + "; start phone-host anew"
                                           : "start phone-host anew; its log says more");
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
        name.empty()
            ? "plug one in; whether the kernel sees it says: sudo dmesg | grep -i bluetooth"
            : "plug it in, or start phone-host with the one that is there: --adapter " + name);
    blameNobody({"power", "visibility", "channel", "record"}, "there is no adapter");
    return;
  }
  m_adapter = *found;
  m_diagnosis.good("adapter", cards::safeText(m_adapter->shortName() + ", " + m_adapter->address +
                                              ", called " + m_adapter->name));
  examinePower();
  examineVisibility();
  examineChannel();
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

/// Those who are paired with it find it all the same. Where nobody else is let in, that will do.
void BluetoothChecks::examineVisibility() {
  const std::string problem = m_status ? m_status->shown("visibleProblem") : "";
  if (!m_adapter->powered) {
    m_diagnosis.unknown("visibility", "not known: the adapter is off");
  } else if (m_adapter->discoverable) {
    m_diagnosis.good("visibility", "other phones can find this one");
  } else if (m_status && m_status->shown("strangers") == "refuse") {
    m_diagnosis.good(
        "visibility",
        "only phones that are paired with this one can find it; nobody else is let in");
  } else {
    m_diagnosis.fault("visibility",
                      "phones that aren't paired with this one can't find it: the adapter is not "
                      "visible" +
                          (problem.empty() ? "" : " (" + problem + ")"),
                      "phonectl receive on --visible 3m");
  }
}

/// The telephone holds its channel on every adapter at once. Whoever holds it on one of them gets
/// the links that come in there.
void BluetoothChecks::examineChannel() {
  if (!m_use.bluetooth) return;
  m_use = host::probeChannel(channel(), {m_adapter->address});
  const std::string number = std::to_string(channel());
  const bool taken = !m_use.takenAt.empty() || (m_use.takenForAll && !listening());
  if (taken) {
    m_diagnosis.fault(
        "channel", "RFCOMM channel " + number + " is taken by another program" + otherListeners(),
        "end that program, or have it use another channel; then: phonectl receive "
        "off; phonectl receive on");
  } else {
    m_diagnosis.good("channel", "nobody else listens on RFCOMM channel " + number);
  }
}

std::string BluetoothChecks::otherListeners() const {
  const std::vector<std::string> users = host::rfcommUsers(m_phoneProcess);
  return users.empty() ? " (as root, this command may be able to name it)"
                       : "; these have RFCOMM sockets: " + joined(users);
}

/// A machine can't reach itself by radio. With a second adapter it can, as any other would.
host::SdpQuery::Answer BluetoothChecks::askOwnRecords(std::string& how) const {
  for (const auto& [path, other] : m_bluez.objects().adapters()) {
    if (path == m_adapter->path || !other.powered || other.address.empty()) continue;
    how = "asked over the air with " + other.shortName();
    return askServices(m_signals, m_adapter->address, other.address);
  }
  how = "asked of bluetoothd's own socket";
  host::SdpQuery query;
  return query.askLocal();
}

void BluetoothChecks::examineRecord() {
  const std::string record = m_status ? m_status->shown("record") : "";
  if (!m_adapter->powered) {
    m_diagnosis.unknown("record", "not known: the adapter is off");
  } else if (!listening()) {
    m_diagnosis.fault("record", "no service record: it is published while receiving is on",
                      m_status ? "phonectl receive on" : "start phone-host; phonectl receive on");
  } else if (record != "published") {
    m_diagnosis.fault(
        "record", "other phones are not told that this one takes cards: " + record,
        m_status->recordDenied()
            ? letThrough(kPhonesUser)
            : "restart bluetoothd (sudo systemctl restart bluetooth); the log of phone-host "
              "and `journalctl -u bluetooth` say more");
  } else {
    std::string how;
    const host::SdpQuery::Answer answer = askOwnRecords(how);
    judgeRecord(answer, how);
  }
}

void BluetoothChecks::judgeRecord(const host::SdpQuery::Answer& answer, const std::string& how) {
  const std::string number = std::to_string(channel());
  if (answer.outcome != host::SdpQuery::Outcome::kAnswered) {
    m_diagnosis.good("record", "BlueZ has published it for channel " + number +
                                   " (it can't be asked back with this one adapter: " +
                                   cards::safeText(answer.problem) + ")");
    return;
  }
  std::vector<std::string> told;
  bool ours = false;
  for (const host::SdpRecord& record : answer.records) {
    told.push_back(std::to_string(record.channel) + " (" + record.name + ")");
    ours = ours || (record.channel == channel() && record.name == host::bluez::kRecordName);
  }
  if (ours) {
    m_diagnosis.good("record", "it names channel " + number + " (" + how + ")");
    return;
  }
  m_diagnosis.fault("record",
                    told.empty() ? "no service record is published (" + how + ")"
                                 : "no record for channel " + number + ", but for " + joined(told) +
                                       " (" + how + ")",
                    "phonectl receive off; phonectl receive on; or restart bluetoothd: sudo "
                    "systemctl restart bluetooth");
}

bool BluetoothChecks::anyTrusted() const {
  host::DeviceRegistry peers;
  peers.update(m_bluez.objects(), m_bluez.ready());
  for (const auto& [path, device] : m_bluez.objects().devices())
    if (peers.find(device.address).trust == host::Peer::TrustLevel::kTrusted) return true;
  return false;
}

void BluetoothChecks::examinePolicy() {
  if (!m_status || m_status->shown("strangers").empty()) return;
  const bool refuses = m_status->shown("strangers") == "refuse";
  const bool set = refuses || m_status->shown("trusted") == "accept";
  if (!set) {
    m_diagnosis.good("policy", "everybody but blocked devices is let in");
  } else if (!m_status->knowsPeers()) {
    m_diagnosis.fault("policy", "everybody is refused, because BlueZ can't say who is trusted",
                      "mend BlueZ, or start phone-host without --strangers, --trusted, --accept");
  } else if (!refuses) {
    m_diagnosis.good("policy", "everybody but blocked devices is let in");
  } else if (!m_bluez.ready()) {
    m_diagnosis.unknown("policy",
                        "only trusted devices are let in; whether there is one, BlueZ "
                        "doesn't tell here");
  } else if (!anyTrusted()) {
    m_diagnosis.fault("policy", "only trusted devices are let in, and there is none",
                      "pair and trust one: bluetoothctl pair ADDRESS; bluetoothctl trust ADDRESS");
  } else {
    m_diagnosis.good("policy", "only paired and trusted devices are let in");
  }
}

}  // namespace phonectl
