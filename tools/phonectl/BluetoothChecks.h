#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include "host/bluetooth/DeviceRegistry.h"
#include "tools/phonectl/BlockingBluez.h"
#include "tools/phonectl/Diagnosis.h"
#include "tools/phonectl/PhoneStatus.h"

namespace phonectl {

/// The doctor's checks of Bluetooth: the kernel, BlueZ, the RFCOMM channel, the service record and
/// the policy.
///
/// Threads: the one that runs the default main loop. The arguments must outlive it.
class BluetoothChecks {
 public:
  /// `status` is nullopt if the phone doesn't run; `phoneProcess` is 0 if unknown.
  BluetoothChecks(const StopSignals& signals, const std::optional<PhoneStatus>& status,
                  pid_t phoneProcess, Diagnosis& diagnosis);

  void examine();
  /// Whether the policy admits anyone. Call after `examine`.
  void examinePolicy();

 private:
  void examineBluez();
  void examinePhonesBluez();
  void examineAdapter();
  void examinePower();
  void examineVisibility();
  void examineChannel();
  void examineRecord();
  void judgeRecord(const host::SdpQuery::Answer& answer, const std::string& how);
  void skip(const std::vector<const char*>& checks, const std::string& why);
  [[nodiscard]] host::SdpQuery::Answer askOwnRecords(std::string& how) const;
  [[nodiscard]] bool channelIsTaken() const;
  [[nodiscard]] std::string channelHolders() const;
  [[nodiscard]] bool anyTrusted() const;
  [[nodiscard]] int channel() const;
  [[nodiscard]] bool listening() const { return m_status && m_status->listening(); }

  const StopSignals& m_signals;
  const std::optional<PhoneStatus>& m_status;
  const pid_t m_phoneProcess;
  Diagnosis& m_diagnosis;
  bool m_virtual = false;  ///< the phone is on a virtual radio, this process isn't
  BlockingBluez m_bluez;
  std::optional<host::AdapterFacts> m_adapter;
};

}  // namespace phonectl
