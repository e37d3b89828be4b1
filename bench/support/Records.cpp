#include "bench/support/Records.h"

#include <stdexcept>

#include "bench/support/Folder.h"
#include "cards/Contact.h"

namespace bench {

std::vector<cards::Contact> readRecords(const std::string& folder) {
  std::vector<cards::Contact> records;
  for (const File& file : readFolder(folder, ".json")) {
    try {
      records.push_back(cards::contactFromJson(file.content));
    } catch (const std::runtime_error& error) {
      throw std::runtime_error(file.path + ": " + error.what());
    }
  }
  return records;
}

}  // namespace bench
