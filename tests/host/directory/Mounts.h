#pragma once

#include <cstddef>
#include <string>

namespace test {

/// Whether this process may mount. The first call enters a private mount namespace.
bool MayMount();

/// Mounts a tmpfs of this size over a folder while the object exists.
class MemoryDisk {
 public:
  MemoryDisk(const std::string& folder, std::size_t bytes);
  ~MemoryDisk();
  MemoryDisk(const MemoryDisk&) = delete;
  MemoryDisk& operator=(const MemoryDisk&) = delete;

  /// Fails while a file is open for writing.
  void MakeReadOnly() const;
  void MakeWritable() const;
  /// Uses up all free space.
  void Fill() const;
  void Empty() const;

 private:
  std::string Filler() const { return m_folder + "/filler"; }

  std::string m_folder;
};

}  // namespace test
