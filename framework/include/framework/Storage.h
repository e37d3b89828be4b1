#pragma once

#include <cstdint>
#include <ios>
#include <memory>
#include <string>

#include "framework/Export.h"

/// The gate for everything that a stranger can make the telephone write: one file beneath the
/// images folder.
///
/// `init` takes the path, `store` writes the whole file, `shutdown` ends it. A path is an absolute
/// one beneath the root; it is resolved strictly beneath it: a ".." component, a symbolic link at
/// any level, a path that leaves the root or ends in a folder is refused. Missing folders beneath
/// the root are created. The bytes go to a temporary file, are synced and renamed into place, so
/// that a reader sees the old file or the new one, whole. A file of that name with other contents
/// is kept as `NAME~`, replacing an older one of that name; if that can't be made, the write is
/// refused.
///
/// Bounds, over everything beneath the root: `Limits`. Beyond them, on a full or read-only disk,
/// without permission, or with a component of more than 255 bytes, `init` or `store` returns false
/// and no partial file stays.
///
/// Threads: one object serves one thread. Any number of objects, in any number of processes, may
/// write at a time, to the same name too: the last rename wins, and each file is whole. No
/// exception leaves `init`, `store` and `shutdown`.
class FRAMEWORK_API Storage {
 public:
  struct Limits {
    std::uint64_t files = 20000;                        ///< files and folders
    std::uint64_t bytes = std::uint64_t{2} << 30;       ///< sum of the files' sizes
    std::uint64_t freeBytes = std::uint64_t{16} << 20;  ///< what must be left free on the disk
    unsigned depth = 16;                                ///< folders between the root and the file
  };

  /// "/data/images", without a slash at its end.
  static const char* defaultRoot();

  Storage();
  /// Another root, and other limits, than the telephone's.
  Storage(const std::string& root, const Limits& limits);
  ~Storage();
  Storage(const Storage&) = delete;
  Storage& operator=(const Storage&) = delete;

  /// Opens for the file at `path`. The modes are those of a stream for reading and one for writing;
  /// without `out` in the second, `store` is refused.
  bool init(const char* path, std::ios_base::openmode readMode, std::ios_base::openmode writeMode);
  /// Writes the whole file from `size` bytes at `data`, which stay the caller's. A null `name`
  /// means the path given to `init`; any other names a file in the same folder.
  bool store(const char* name, char* data, int size);
  /// Ends the use of the path; `init` may follow. Harmless when there was no `init`.
  void shutdown();

 private:
  class Impl;
  std::unique_ptr<Impl> m_impl;
};
