#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include "host/bluetooth/ChannelProbe.h"
#include "host/bluetooth/DeviceRegistry.h"
#include "tools/phonectl/BlockingBluez.h"
#include "tools/phonectl/Diagnosis.h"
#include "tools/phonectl/PhoneStatus.h"

namespace phonectl {

/// The doctor's look at the way from another phone to this one: the kernel, BlueZ, and, where there
/// is a second adapter to ask with, this machine's own service discovery.
///
/// Threads: the one that runs the default main loop. What it was made with must outlive it.
class BluetoothChecks {
 public:
  /// `status` is what the phone says of itself; none when it doesn't run. `phoneProcess` is 0 where
  /// it isn't known.
  BluetoothChecks(const StopSignals& signals, const std::optional<PhoneStatus>& status,
                  pid_t phoneProcess, Diagnosis& diagnosis);

  void examine();
  /// Who may come in by it; after `examine`.
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
  void blameNobody(const std::vector<const char*>& checks, const std::string& why);
  [[nodiscard]] host::SdpQuery::Answer askOwnRecords(std::string& how) const;
  [[nodiscard]] std::string otherListeners() const;
  [[nodiscard]] bool anyTrusted() const;
  [[nodiscard]] int channel() const;
  [[nodiscard]] bool listening() const { return m_status && m_status->listening(); }

  const StopSignals& m_signals;
  const std::optional<PhoneStatus>& m_status;
  const pid_t m_phoneProcess;
  Diagnosis& m_diagnosis;
  host::ChannelUse m_use;
  BlockingBluez m_bluez;
  std::optional<host::AdapterFacts> m_adapter;
};

}  // namespace phonectl
