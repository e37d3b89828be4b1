#pragma once

#include <string>

#include "tools/phonectl/Lifetime.h"
#include "tools/phonectl/PhoneBus.h"
#include "tools/phonectl/PhoneStatus.h"

namespace phonectl {

/// Tells the user, on standard error, how long a transfer takes already: in a terminal one line
/// that follows every second, elsewhere a sentence when it takes long. Made when the transfer is
/// asked for, destroyed when it has ended.
///
/// Threads: the one that runs the default main loop.
class SendProgress {
 public:
  /// `what` is what happens: "sending to 66:77:88:99:AA:BB, channel 9". Safe to show.
  SendProgress(PhoneBus& bus, std::string what);
  ~SendProgress();
  SendProgress(const SendProgress&) = delete;
  SendProgress& operator=(const SendProgress&) = delete;

 private:
  bool tick();
  void answered(const PhoneBus::Answer& answer);
  void show();

  PhoneBus& m_bus;
  const std::string m_what;
  const bool m_terminal;
  std::string m_otherWork;  ///< what the phone does before it comes to this
  unsigned m_seconds = 0;
  bool m_asking = false;
  sigc::connection m_timer;
  Lifetime m_lifetime;
};

}  // namespace phonectl
