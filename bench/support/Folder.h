#pragma once

#include <string>
#include <vector>

namespace bench {

struct File {
  std::string path;
  std::string content;
};

/// Every file of `folder` whose name ends in `suffix`, in the byte order of the names. Throws
/// std::runtime_error with a sentence when there is no such folder or file, or one can't be read.
std::vector<File> readFolder(const std::string& folder, const std::string& suffix);

/// Writes a file. Throws std::runtime_error with a sentence when it can't be written.
void writeFile(const std::string& path, const std::string& content);

}  // namespace bench
