#pragma once

#include <cstddef>
#include <string>

namespace test {

/// Whether this process may mount: from the first call on it has a mount namespace of its own, so
/// that no mount is seen outside.
bool MayMount();

/// A memory disk of some size over a folder, as long as the object lives.
class MemoryDisk {
 public:
  MemoryDisk(const std::string& folder, std::size_t bytes);
  ~MemoryDisk();
  MemoryDisk(const MemoryDisk&) = delete;
  MemoryDisk& operator=(const MemoryDisk&) = delete;

  /// Only as long as no one has a file open for writing.
  void MakeReadOnly() const;
  void MakeWritable() const;
  /// Takes all room that is left.
  void Fill() const;
  void Empty() const;

 private:
  std::string Filler() const { return m_folder + "/filler"; }

  std::string m_folder;
};

}  // namespace test
