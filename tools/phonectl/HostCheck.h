#pragma once

#include <map>
#include <string>

#include "host/app/Problem.h"
#include "tools/phonectl/BlockingCall.h"
#include "tools/phonectl/Diagnosis.h"

namespace phonectl {

/// What a phone that doesn't run would find if it were started: asks `phone-host --check`, with its
/// own idea of plug-in and phonebook. That is a process of its own, so that nothing that a plug-in
/// does when it is loaded happens here.
///
/// Threads: the one that runs the default main loop.
class HostCheck {
 public:
  explicit HostCheck(const StopSignals& signals) : m_signals(signals) {}

  /// Adds findings for "plug-in" and "phonebook". Throws Failure when the user leaves.
  void examine(Diagnosis& diagnosis);

 private:
  void ask(const std::string& program);
  void read(const std::string& output);
  void tell(Diagnosis& diagnosis, const std::string& what, const host::Problem& unless) const;

  const StopSignals& m_signals;
  // By the name of the check; safe to show.
  std::map<std::string, std::string> m_good;
  std::map<std::string, host::Problem> m_faults;
  std::string m_end;  ///< how the process ended, for people
};

}  // namespace phonectl
