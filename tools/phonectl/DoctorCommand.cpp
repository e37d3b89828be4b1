#include <sys/types.h>

#include <optional>

#include "cards/Card.h"
#include "cards/SafeText.h"
#include "dbus/Calls.h"
#include "framework/Storage.h"
#include "host/app/StorageChecks.h"
#include "tools/phonectl/BluetoothChecks.h"
#include "tools/phonectl/Commands.h"
#include "tools/phonectl/HostCheck.h"
#include "tools/phonectl/Phonebook.h"

namespace phonectl {

namespace {

/// Finds out what keeps cards of other phones from arriving.
class Doctor {
 public:
  explicit Doctor(const StopSignals& signals) : m_signals(signals) {}

  /// Runs all checks. Throws Failure if the user interrupts it.
  Diagnosis examine(const dbus::BusAddress& place);

 private:
  void askPhone(const dbus::BusAddress& place);
  void examinePhone(PhoneBus& bus);
  void examineVersions();
  void examineImages();
  void examinePhonebook(PhoneBus& bus);
  void examineReceiving();

  const StopSignals& m_signals;
  Diagnosis m_diagnosis;
  std::optional<PhoneStatus> m_status;
  pid_t m_phoneProcess = 0;
};

Diagnosis Doctor::examine(const dbus::BusAddress& place) {
  askPhone(place);
  examineImages();
  BluetoothChecks radio(m_signals, m_status, m_phoneProcess, m_diagnosis);
  radio.examine();
  examineReceiving();
  radio.examinePolicy();
  return m_diagnosis;
}

void Doctor::askPhone(const dbus::BusAddress& place) {
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
  m_phoneProcess = dbus::processOwning(bus.connection(), kPhoneName);
  m_diagnosis.good("phone", "phone-host is running" +
                                (m_phoneProcess != 0 ? ", process " + std::to_string(m_phoneProcess)
                                                     : std::string()) +
                                ", and owns " + kPhoneName + " on " + bus.place().describe());
  m_diagnosis.good("plug-in", m_status->shown("plugin") + " is loaded");
}

void Doctor::examineVersions() {
  const std::string theirs = m_status->shown("version");
  if (theirs == PHONE_VERSION) {
    m_diagnosis.good("versions", "phone-host and phonectl are both " + theirs);
  } else {
    m_diagnosis.fault("versions", "phone-host is " + theirs + ", phonectl is " PHONE_VERSION,
                      "install the same version of both, and restart phone-host");
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
                      failure.remedy().empty()
                          ? "fix " + name + ", or choose another with phone-host --phonebook"
                          : failure.remedy());
  }
}

void Doctor::examineImages() {
  const std::string root =
      m_status ? m_status->imagesFolder() : std::string(Storage::defaultRoot());
  host::Problem problem = m_status ? m_status->imagesProblem() : host::imagesProblem(root);
  if (problem.none()) problem = host::imagesQuotaProblem(root, Storage::Limits());
  if (problem.none()) {
    m_diagnosis.good("images",
                     cards::safeText(root) + " can be written" + (m_status ? "" : " by your user"));
  } else {
    m_diagnosis.fault("images", "photos can't be stored: " + cards::safeText(problem.text),
                      cards::safeText(problem.remedy));
  }
}

void Doctor::examineReceiving() {
  if (!m_status) {
    m_diagnosis.unknown("receiving", "not checked: the phone isn't running");
  } else if (m_status->listening()) {
    m_diagnosis.good("receiving",
                     "the push server listens on channel " + std::to_string(m_status->channel()));
  } else if (const std::string error = m_status->listenError(); !error.empty()) {
    m_diagnosis.fault("receiving", "the push server can't listen: " + error,
                      "fix the channel; while receiving is on, the phone keeps trying");
  } else {
    m_diagnosis.fault("receiving", "the push server doesn't listen", "phonectl receive on");
  }
}

int examine(const Context& context) {
  const StopSignals signals;
  const Diagnosis diagnosis = Doctor(signals).examine(context.place());
  if (context.json) {
    printLine(cards::jsonLine(diagnosis.json()));
  } else {
    for (const std::string& line : diagnosis.lines()) printLine(line);
    printLine(diagnosis.healthy() ? "A card would arrive." : "A card would not arrive.");
  }
  return diagnosis.healthy() ? kDone : kFailed;
}

}  // namespace

void addDoctor(CLI::App& parent, Context& context) {
  CLI::App& command = addCommand(
      parent, "doctor", "Find out why cards from other phones don't arrive",
      "Prints a line for each requirement: \"ok\", \"FAULT\" with a remedy, or \"?\" if "
      "another\n"
      "fault prevents the check. The exit code is 0 only if cards would arrive from every\n"
      "device that may push, otherwise 1. If the phone isn't running, its default plug-in and\n"
      "phonebook are checked. Nothing is changed.");
  command.add_flag("--json", context.json,
                   "Print a JSON array of objects: check, ok, known, text, remedy");
  command.callback([&context] { context.exitCode = examine(context); });
}

}  // namespace phonectl
