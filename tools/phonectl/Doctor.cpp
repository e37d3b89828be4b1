#include "tools/phonectl/Doctor.h"

#include "cards/SafeText.h"
#include "framework/Storage.h"
#include "host/app/StorageChecks.h"
#include "tools/phonectl/BlockingCall.h"
#include "tools/phonectl/BluetoothChecks.h"
#include "tools/phonectl/HostCheck.h"
#include "tools/phonectl/Phonebook.h"

namespace phonectl {

namespace {

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

}  // namespace

Doctor::Doctor(const StopSignals& signals) : m_signals(signals) {}

Diagnosis Doctor::examine(const BusPlace& place) {
  askPhone(place);
  examineImages();
  BluetoothChecks radio(m_signals, m_status, m_phoneProcess, m_diagnosis);
  radio.examine();
  examineReceiving();
  radio.examinePolicy();
  return m_diagnosis;
}

void Doctor::askPhone(const BusPlace& place) {
  try {
    PhoneBus bus(place);
    m_status.emplace(BlockingCall(bus, m_signals).run(PhoneStatus::question()));
    examinePhone(bus);
    examineVersions();
    examinePhonebook(bus);
  } catch (const Failure& failure) {
    if (failure.exitCode() > kSignalled) throw;
    m_status.reset();
    m_diagnosis.fault("phone", failure.sentence(),
                      failure.remedy().empty() ? "see the log of phone-host" : failure.remedy());
    HostCheck(m_signals).examine(m_diagnosis);
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
    Phonebook(bus, m_signals).tryWriting();
    const host::Problem disk = host::phonebookDiskProblem(name);
    if (!disk.none())
      throw Failure(kFailed, cards::safeText(disk.text), cards::safeText(disk.remedy));
    m_diagnosis.good("phonebook", name + " can be read and written");
  } catch (const Failure& failure) {
    if (failure.exitCode() > kSignalled) throw;
    m_diagnosis.fault("phonebook", failure.sentence(),
                      failure.remedy().empty() ? "mend what it says about " + name +
                                                     ", or name another with phone-host --phonebook"
                                               : failure.remedy());
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

}  // namespace phonectl
