#pragma once

#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <system_error>

#include "fuzz/support/Contract.h"

namespace fuzz {

/// A temporary folder, in memory if possible. Removed by the destructor.
class ScratchFolder {
 public:
  ScratchFolder() {
    constexpr const char* kMemory = "/dev/shm";
    const bool useMemory = ::getenv("TMPDIR") == nullptr && ::access(kMemory, W_OK | X_OK) == 0;
    const std::filesystem::path parent =
        useMemory ? kMemory : std::filesystem::temp_directory_path();
    std::string name = (parent / "phone-fuzz-XXXXXX").string();
    require(::mkdtemp(name.data()) != nullptr, "a temporary folder can be created");
    m_path = name;
  }
  ~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  [[nodiscard]] const std::filesystem::path& path() const { return m_path; }

 private:
  std::filesystem::path m_path;
};

}  // namespace fuzz
