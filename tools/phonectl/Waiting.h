#pragma once

#include <functional>

#include "tools/phonectl/StopSignals.h"

namespace phonectl {

/// Runs the main loop until the condition holds, the time is over or the user leaves; returns
/// whether it holds. The condition is looked at often, whether something happened or not. Threads:
/// the one that runs the default main loop.
bool runUntil(const StopSignals& signals, const std::function<bool()>& condition,
              unsigned milliseconds);

/// Throws Failure when the user wants to leave.
void throwIfLeft(const StopSignals& signals);

}  // namespace phonectl
