#pragma once

#include <string>
#include <vector>

#include "cards/Contact.h"

namespace bench {

struct File {
  std::string path;
  std::string content;
};

/// Reads the files of `folder` whose names end in `suffix`, sorted by name. Throws
/// std::runtime_error if there are none or one can't be read.
std::vector<File> readFolder(const std::string& folder, const std::string& suffix);

/// Reads a contact from each .json file of `folder`. Throws like `readFolder`, and for a file that
/// is no contact.
std::vector<cards::Contact> readRecords(const std::string& folder);

/// Throws std::runtime_error if the file can't be written.
void writeFile(const std::string& path, const std::string& content);

}  // namespace bench
