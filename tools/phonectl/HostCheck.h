#pragma once

#include <map>
#include <string>

#include "host/app/StorageChecks.h"
#include "tools/phonectl/BlockingCall.h"
#include "tools/phonectl/Diagnosis.h"

namespace phonectl {

/// Runs `phone-host --check`: whether a phone that isn't running could start with its default
/// plug-in and phonebook. In a process of its own, because it loads the plug-in.
///
/// Threads: the one that runs the default main loop.
class HostCheck {
 public:
  explicit HostCheck(const StopSignals& signals) : m_signals(signals) {}

  /// Adds the findings "plug-in" and "phonebook". Throws Failure if the user interrupts it.
  void examine(Diagnosis& diagnosis);

 private:
  void ask(const std::string& program);
  void read(const std::string& output);
  void tell(Diagnosis& diagnosis, const std::string& what, const host::Problem& unless) const;

  const StopSignals& m_signals;
  // By the name of the check; safe to show.
  std::map<std::string, std::string> m_good;
  std::map<std::string, host::Problem> m_faults;
  std::string m_end;  ///< how the process ended, in words
};

}  // namespace phonectl
