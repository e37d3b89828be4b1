#include "fuzz/support/ScratchFolder.h"

#include <stdlib.h>
#include <unistd.h>

#include <string>
#include <system_error>

#include "fuzz/support/Contract.h"

namespace fuzz {

namespace {

std::filesystem::path placeForIt() {
  constexpr const char* kMemory = "/dev/shm";
  const bool useMemory = ::getenv("TMPDIR") == nullptr && ::access(kMemory, W_OK | X_OK) == 0;
  return useMemory ? kMemory : std::filesystem::temp_directory_path();
}

}  // namespace

ScratchFolder::ScratchFolder() {
  std::string name = (placeForIt() / "phone-fuzz-XXXXXX").string();
  require(::mkdtemp(name.data()) != nullptr, "a temporary folder can be made");
  m_path = name;
}

ScratchFolder::~ScratchFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(m_path, ignored);
}

}  // namespace fuzz
