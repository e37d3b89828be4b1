#include "bench/support/Records.h"

#include "bench/support/Folder.h"
#include "tools/contacts/ContactJson.h"

namespace bench {

std::vector<contacts::Contact> readRecords(const std::string& folder) {
  std::vector<contacts::Contact> records;
  for (const std::string& json : readFolder(folder, ".json")) {
    records.push_back(contacts::contactFromJson(json));
  }
  return records;
}

}  // namespace bench
