#pragma once

#include <memory>
#include <string>
#include <vector>

#include "fuzz/support/ScratchFolder.h"
#include "host/directory/DirectoryClient.h"
#include "host/directory/DirectoryService.h"

namespace fuzz {

/// A real phonebook in a temporary folder, initially with two entries.
class ScratchBook {
 public:
  ScratchBook();

  /// Sends a request and checks that the answer is valid.
  host::DirectoryAnswer ask(const std::string& request);
  /// Reads all columns of an entry.
  host::DirectoryEntry entryOf(const std::string& id);
  /// Reads all columns of all entries.
  std::vector<host::DirectoryEntry> entries();
  /// Restores the initial entries.
  void renew();

 private:
  ScratchFolder m_folder;
  std::unique_ptr<host::DirectoryService> m_service;
};

}  // namespace fuzz
