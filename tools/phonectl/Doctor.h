#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include "host/bluetooth/ChannelProbe.h"
#include "tools/phonectl/Diagnosis.h"
#include "tools/phonectl/NearBluez.h"
#include "tools/phonectl/PhoneBus.h"
#include "tools/phonectl/PhoneStatus.h"

namespace phonectl {

/// Finds out what stands between another phone and this one. It asks the telephone, BlueZ, the
/// kernel, and, where there is a second adapter to ask with, this machine's own service discovery.
///
/// Threads: the one that runs the default main loop.
class Doctor {
 public:
  explicit Doctor(const StopSignals& signals);

  /// Returns when everything was looked at. Throws Failure when the user leaves.
  Diagnosis examine(const BusPlace& place);

 private:
  // The telephone.
  void askPhone(const BusPlace& place);
  void examinePhone(PhoneBus& bus);
  void examineVersions();
  void examineImages();
  void examinePhonebook(PhoneBus& bus);
  void examineReceiving();
  void examinePolicy();

  // The radio.
  void examineRadio();
  void examineBluez();
  void examineAdapter();
  void examinePower();
  void examineVisibility();
  void examineChannel();
  void examineRecord();
  void judgeRecord(const host::SdpQuery::Answer& answer, const std::string& how);
  [[nodiscard]] host::SdpQuery::Answer askOwnRecords(std::string& how) const;
  [[nodiscard]] std::string otherListeners() const;
  [[nodiscard]] int channel() const;
  [[nodiscard]] bool listening() const { return m_status && m_status->listening(); }

  const StopSignals& m_signals;
  Diagnosis m_diagnosis;
  std::optional<PhoneStatus> m_status;
  pid_t m_phoneProcess = 0;
  host::ChannelUse m_use;
  std::optional<NearBluez> m_bluez;
  std::optional<host::AdapterFacts> m_adapter;
};

}  // namespace phonectl
