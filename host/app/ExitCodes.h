#pragma once

namespace host {

// How phone-host ends; its --help says the same.
inline constexpr int kExitStopped = 0;  ///< on request
inline constexpr int kExitNoStart = 1;  ///< something it needs is missing
inline constexpr int kExitUsage = 2;    ///< the command line is wrong
inline constexpr int kExitUnclean = 3;  ///< on request, but the service did not end in time

}  // namespace host
