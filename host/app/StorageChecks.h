#pragma once

#include <cstdint>
#include <string>

#include "framework/Storage.h"

// Whether there is room and permission to store photos and phonebook entries.
//
// Threads: any, one at a time. The checks access the disk and may block.

namespace host {

/// What is wrong and what to do about it. Both are empty if nothing is wrong. They may contain file
/// names and must be made safe before display.
struct Problem {
  std::string text;
  std::string remedy;

  [[nodiscard]] bool none() const { return text.empty(); }
};

/// Why this process can't store a photo in the images folder `root`. Leaves nothing behind.
Problem imagesProblem(const std::string& root);

/// Whether the images folder has reached the limits of `Storage`. Files that can't be read are not
/// counted.
Problem imagesQuotaProblem(const std::string& root, const Storage::Limits& limits);

/// Whether fewer than `bytes` are free on the folder's disk. No problem if the folder doesn't
/// exist.
Problem diskRoomProblem(const std::string& folder, std::uint64_t bytes);

/// Whether the disk has no room for another phonebook entry. No problem if the connection isn't
/// SQLite with an absolute path.
Problem phonebookDiskProblem(const std::string& connection);

}  // namespace host
