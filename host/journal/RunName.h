#pragma once

#include <string>

namespace host {

/// A name for this run of this process, which no other one has or will have: machine, process
/// number, and when that process began.
std::string nameOfThisRun();

/// Whether a run of that name, on this machine, has ended. Of another machine's nothing is known:
/// false.
bool hasEnded(const std::string& run);

}  // namespace host
