#pragma once

#include "framework/Export.h"

/// Pauses the calling thread. Any thread may call.
class FRAMEWORK_API GPALSleep {
 public:
  /// Sleeps for at least this long, also when signals arrive. Returns at once for 0 and less.
  void milliSleep(int milliseconds);
};
