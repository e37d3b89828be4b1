#pragma once

#include <sys/types.h>

#include <optional>

#include "tools/phonectl/BlockingCall.h"
#include "tools/phonectl/Diagnosis.h"
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
  void askPhone(const BusPlace& place);
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

}  // namespace phonectl
