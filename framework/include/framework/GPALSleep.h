#pragma once

#include "framework/Export.h"

/// Pauses of the calling thread. May be used from any thread.
class FRAMEWORK_API GPALSleep {
 public:
  /// Sleeps for at least this many milliseconds, signals notwithstanding; 0 and less return at
  /// once.
  void milliSleep(int milliseconds);
};
