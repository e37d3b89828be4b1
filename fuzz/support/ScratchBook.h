#pragma once

#include <memory>
#include <string>
#include <vector>

#include "fuzz/support/ScratchFolder.h"
#include "host/directory/DirectoryClient.h"
#include "host/directory/DirectoryService.h"

namespace fuzz {

/// A real phonebook in a temporary folder, which holds the same few entries at the beginning of
/// every input.
class ScratchBook {
 public:
  ScratchBook();

  /// Sends the request to the Directory Service and reads the answer, which must be one of those
  /// that there are.
  host::DirectoryAnswer ask(const std::string& request);
  /// Asks for everything that the entry of this Id holds.
  host::DirectoryEntry entryOf(const std::string& id);
  /// Everything that it holds.
  std::vector<host::DirectoryEntry> entries();
  /// Throws away what was written.
  void renew();

 private:
  ScratchFolder m_folder;
  std::unique_ptr<host::DirectoryService> m_service;
};

}  // namespace fuzz
