#pragma once

#include <string>

namespace host {

/// A name for this run of this process, which no other one has or will have: machine, process
/// number, and when that process began; and who it is, for people.
std::string nameOfThisRun();

/// Whose run it was, "user@host"; empty where the name doesn't say.
std::string phoneOfRun(const std::string& run);

/// Whether a run of that name, on this machine, has ended. Of another machine's nothing is known:
/// false.
bool hasEnded(const std::string& run);

}  // namespace host
