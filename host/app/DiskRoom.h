#pragma once

#include <cstdint>
#include <string>

#include "host/app/Problem.h"

namespace host {

/// Whether so many bytes are not free on the disk of a folder. Nothing is known of one that isn't
/// there: no problem. Threads: any.
Problem diskRoomProblem(const std::string& folder, std::uint64_t bytes);

/// How to make room there.
std::string diskRoomRemedy(const std::string& folder);

}  // namespace host
