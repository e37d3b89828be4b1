#include "tools/phonectl/Doctor.h"

#include <algorithm>

#include "framework/Storage.h"
#include "host/bluetooth/PeerBook.h"
#include "host/bluetooth/ServiceRecord.h"
#include "host/checks/ImagesFolder.h"
#include "tools/cards/SafeText.h"
#include "tools/phonectl/PatientCall.h"
#include "tools/phonectl/Phonebook.h"

namespace phonectl {

namespace {

/// Of the push server, when the telephone isn't there to say it.
constexpr int kUsualChannel = 4;

/// The process that owns the phone's name; 0 when the bus doesn't say.
pid_t processOfPhone(PhoneBus& bus) {
  const auto name = Glib::Variant<Glib::ustring>::create(kPhoneName);
  try {
    const Glib::VariantContainerBase answer = bus.connection()->call_sync(
        "/org/freedesktop/DBus", "org.freedesktop.DBus", "GetConnectionUnixProcessID",
        Glib::VariantContainerBase::create_tuple(name), "org.freedesktop.DBus", 10000);
    Glib::Variant<guint32> process;
    answer.get_child(process, 0);
    return static_cast<pid_t>(process.get());
  } catch (const Glib::Error&) {
    return 0;
  }
}

std::string joined(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : ", ") + word;
  return cards::safeText(text);
}

}  // namespace

Doctor::Doctor(const StopSignals& signals) : m_signals(signals) {}

Diagnosis Doctor::examine(const BusPlace& place) {
  askPhone(place);
  examineImages();
  examineRadio();
  examineReceiving();
  examinePolicy();
  return m_diagnosis;
}

// The telephone

void Doctor::askPhone(const BusPlace& place) {
  try {
    PhoneBus bus(place);
    m_status.emplace(PatientCall(bus, m_signals).run(PhoneStatus::question()));
    examinePhone(bus);
    examineVersions();
    examinePhonebook(bus);
  } catch (const Failure& failure) {
    if (failure.exitCode() > kSignalled) throw;
    m_status.reset();
    m_diagnosis.fault("phone", failure.what(), "start it: phone-host" + place.option());
    m_diagnosis.unknown("plug-in", "not known: the phone loads it when it starts");
    m_diagnosis.unknown("phonebook", "not known: the phone opens it when it starts");
  }
}

void Doctor::examinePhone(PhoneBus& bus) {
  m_phoneProcess = processOfPhone(bus);
  m_diagnosis.good("phone", "phone-host runs" +
                                (m_phoneProcess != 0 ? ", process " + std::to_string(m_phoneProcess)
                                                     : std::string()) +
                                ", and owns " + kPhoneName + " on " + bus.place().shown());
  m_diagnosis.good("plug-in", m_status->shown("plugin") + " is loaded");
}

void Doctor::examineVersions() {
  const std::string theirs = m_status->shown("version");
  if (theirs == PHONE_VERSION) {
    m_diagnosis.good("versions", "phone-host and phonectl are both " + theirs);
  } else {
    m_diagnosis.fault("versions", "phone-host is " + theirs + ", phonectl is " PHONE_VERSION,
                      "use both of the same version, and start phone-host anew");
  }
}

void Doctor::examinePhonebook(PhoneBus& bus) {
  const std::string name = m_status->shown("phonebook");
  try {
    Phonebook(bus, m_signals).withId("0");
    m_diagnosis.good("phonebook", name + " can be opened");
  } catch (const Failure& failure) {
    if (failure.exitCode() > kSignalled) throw;
    m_diagnosis.fault("phonebook", failure.what(),
                      "mend what it says about " + name + ", or name another with --phonebook");
  }
}

void Doctor::examineImages() {
  const std::string root =
      m_status ? m_status->imagesFolder() : std::string(Storage::defaultRoot());
  host::Problem problem = m_status ? m_status->imagesProblem() : host::imagesProblem(root);
  if (problem.none()) problem = host::imagesQuotaProblem(root, Storage::Limits());
  if (problem.none()) {
    m_diagnosis.good("images", cards::safeText(root) + " can be written" +
                                   (m_status ? "" : " by the user who asks now"));
  } else {
    m_diagnosis.fault("images", "photos can't be stored: " + cards::safeText(problem.text),
                      cards::safeText(problem.remedy));
  }
}

void Doctor::examineReceiving() {
  if (!m_status) {
    m_diagnosis.unknown("receiving", "not known: the phone isn't running");
  } else if (m_status->listening()) {
    m_diagnosis.good("receiving",
                     "the push server listens on channel " + std::to_string(m_status->channel()));
  } else {
    m_diagnosis.fault("receiving", "the push server doesn't listen", "phonectl receive on");
  }
}

void Doctor::examinePolicy() {
  if (!m_status || m_status->shown("strangers").empty()) return;
  const bool refuses = m_status->shown("strangers") == "refuse";
  const bool set = refuses || m_status->shown("trusted") == "accept";
  if (set && m_status->shown("bluetooth") != "ready" && (!m_bluez || !m_bluez->ready())) {
    m_diagnosis.fault("policy", "everybody is refused, because BlueZ can't say who is trusted",
                      "mend BlueZ, or start phone-host without --strangers, --trusted, --accept");
    return;
  }
  bool anyTrusted = false;
  if (m_bluez)
    for (const auto& [path, device] : m_bluez->objects().devices())
      anyTrusted =
          anyTrusted || host::PeerBook::peerOf(device).standing == host::Peer::Standing::kTrusted;
  if (refuses && !anyTrusted) {
    m_diagnosis.fault("policy", "only trusted devices are let in, and there is none",
                      "pair and trust one: bluetoothctl pair ADDRESS; bluetoothctl trust ADDRESS");
  } else {
    m_diagnosis.good("policy", refuses ? "only paired and trusted devices are let in"
                                       : "everybody but blocked devices is let in");
  }
}

// The radio

int Doctor::channel() const {
  const int channel = m_status ? m_status->channel() : 0;
  return channel != 0 ? channel : kUsualChannel;
}

void Doctor::examineRadio() {
  m_use = host::probeChannel(channel(), {});
  m_bluez.emplace(m_signals);
  const std::string missing = m_status ? m_status->missingRadio() : "";
  if (m_status && missing.empty() && !m_use.bluetooth) {
    // The telephone has what the machine hasn't.
    m_diagnosis.good("radio", "a virtual one: programs on the same virtual radio can push");
    if (m_bluez->ready()) examineBluez();
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

void Doctor::examineBluez() {
  if (!m_bluez->ready()) {
    m_diagnosis.fault(
        "bluez", m_bluez->missing(),
        "install and start it: sudo apt install bluez; sudo systemctl start bluetooth");
    for (const char* what : {"adapter", "power", "visibility", "channel", "record"})
      m_diagnosis.unknown(what, "not known: BlueZ isn't there to say");
    return;
  }
  m_diagnosis.good("bluez", "bluetoothd runs");
  examineAdapter();
}

void Doctor::examineAdapter() {
  const std::string wanted = m_status ? m_status->shown("adapter") : "";
  const host::AdapterFacts* const found = m_bluez->objects().adapter(wanted);
  if (found == nullptr) {
    m_diagnosis.fault(
        "adapter", "there is no Bluetooth adapter",
        "plug one in; whether the kernel sees it says: sudo dmesg | grep -i bluetooth");
    for (const char* what : {"power", "visibility", "channel", "record"})
      m_diagnosis.unknown(what, "not known: there is no adapter");
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

void Doctor::examinePower() {
  if (m_adapter->powered) {
    m_diagnosis.good("power", "the adapter is on");
  } else {
    m_diagnosis.fault("power", "the adapter is switched off",
                      "bluetoothctl power on; if that is refused: sudo rfkill unblock bluetooth");
  }
}

void Doctor::examineVisibility() {
  if (!m_adapter->powered) {
    m_diagnosis.unknown("visibility", "not known: the adapter is off");
  } else if (m_adapter->discoverable) {
    m_diagnosis.good("visibility", "other phones can find this one");
  } else {
    m_diagnosis.fault("visibility", "other phones can't find this one: the adapter is not visible",
                      "phonectl receive on --visible 3m");
  }
}

/// The telephone holds its channel on every adapter at once. Whoever holds it on one of them gets
/// the links that come in there.
void Doctor::examineChannel() {
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

std::string Doctor::otherListeners() const {
  const std::vector<std::string> users = host::rfcommUsers(m_phoneProcess);
  return users.empty() ? " (as root, this command may be able to name it)"
                       : "; these have RFCOMM sockets: " + joined(users);
}

/// A machine can't reach itself by radio. With a second adapter it can, as any other would.
host::SdpQuery::Answer Doctor::askOwnRecords(std::string& how) const {
  for (const auto& [path, other] : m_bluez->objects().adapters()) {
    if (path == m_adapter->path || !other.powered || other.address.empty()) continue;
    how = "asked over the air with " + other.shortName();
    return askServices(m_signals, m_adapter->address, other.address);
  }
  how = "asked of bluetoothd's own socket";
  host::SdpQuery query;
  return query.askLocal();
}

void Doctor::examineRecord() {
  const std::string record = m_status ? m_status->shown("record") : "";
  if (!m_adapter->powered) {
    m_diagnosis.unknown("record", "not known: the adapter is off");
  } else if (!listening()) {
    m_diagnosis.fault("record", "no service record: it is published while receiving is on",
                      m_status ? "phonectl receive on" : "start phone-host; phonectl receive on");
  } else if (record != "published") {
    m_diagnosis.fault(
        "record", "other phones are not told that this one takes cards: " + record,
        "restart bluetoothd (sudo systemctl restart bluetooth); the log of phone-host "
        "and `journalctl -u bluetooth` say more");
  } else {
    std::string how;
    const host::SdpQuery::Answer answer = askOwnRecords(how);
    judgeRecord(answer, how);
  }
}

void Doctor::judgeRecord(const host::SdpQuery::Answer& answer, const std::string& how) {
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
    ours = ours || (record.channel == channel() && record.name == host::kRecordName);
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

}  // namespace phonectl
