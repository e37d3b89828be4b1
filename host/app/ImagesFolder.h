#pragma once

#include <string>

#include "framework/Storage.h"
#include "host/app/Problem.h"

namespace host {

// Threads: one at a time. Both may take as long as the disk.

/// Why this process can't write a photo into the images folder at `root`. Nothing of the attempt
/// stays.
Problem imagesProblem(const std::string& root);

/// Whether there is as much beneath `root` as the telephone keeps there, so that no photo is stored
/// any more. Whatever can't be looked at isn't counted.
Problem imagesQuotaProblem(const std::string& root, const Storage::Limits& limits);

}  // namespace host
