#pragma once

namespace phonectl {

/// What phonectl's exit code says. Documented in `--help`.
enum ExitCode : int {
  kDone = 0,
  kFailed = 1,      ///< the phone was there, and it didn't work
  kUsage = 2,       ///< the command line is wrong
  kNotRunning = 3,  ///< no phone on that bus, or no bus
  kLost = 4,        ///< the phone or the bus went away before it was done
  kSignalled = 128  ///< and the signal's number: ended by the user while it waited
};

}  // namespace phonectl
