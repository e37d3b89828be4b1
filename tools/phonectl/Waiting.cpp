#include "tools/phonectl/Waiting.h"

#include <glibmm.h>

#include "tools/phonectl/Failure.h"

namespace phonectl {

bool runUntil(const StopSignals& signals, const std::function<bool()>& condition,
              unsigned milliseconds) {
  bool over = false;
  // Whether a thread is done shows only when it is looked at.
  constexpr unsigned kLookMilliseconds = 20;
  unsigned waited = 0;
  sigc::connection timer = Glib::signal_timeout().connect(
      [&] {
        waited += kLookMilliseconds;
        over = waited >= milliseconds;
        return true;
      },
      kLookMilliseconds);
  while (!condition() && !over && signals.caught() == 0)
    Glib::MainContext::get_default()->iteration(true);
  timer.disconnect();
  return condition();
}

void throwIfLeft(const StopSignals& signals) {
  if (signals.caught() != 0) throw Failure(kSignalled + signals.caught(), "left before the end");
}

}  // namespace phonectl
