#pragma once

#include <cstdint>
#include <ios>
#include <memory>
#include <string>

#include "framework/Export.h"

/// The gate for everything that a stranger can make the telephone write: one file beneath the
/// images folder.
///
/// `init` takes the path, `store` writes the whole file, `shutdown` ends it. The root must exist. A
/// path is an absolute one beneath the root, and begins with the root as it is written here; it is
/// resolved strictly beneath it: a ".." component, a symbolic link at any level, a path that leaves
/// the root, and a name that is taken by anything but a file are refused. Missing folders beneath
/// the root are created; those that a refused write created are removed again.
///
/// The bytes go to a temporary file in the root (".storage-" and 16 digits; no path may have a name
/// that begins like this), are synced and renamed into place, so that a reader sees the old file or
/// the new one, whole. Temporary files of a process that was killed are removed by the next writer.
/// A file of that name with other contents is kept as `NAME~`, replacing an older one of that name;
/// if that can't be made, the write is refused. Where the same bytes are there already, nothing is
/// written.
///
/// Bounds, over everything beneath the root: `Limits`. A file counts beside the one that it will
/// replace. Beyond them, on a full or read-only disk, without permission, with a component of more
/// than 255 bytes, or beneath a mount point inside the root, `init` or `store` returns false and no
/// partial file stays. The reason goes to the log, as component and source "Storage".
///
/// Threads: one object serves one thread. Any number of objects, in any number of processes, may
/// write at a time, to the same name too: the last rename wins, and each file is whole. They take
/// turns by a lock on the root folder; who doesn't get it within half a minute is refused. No
/// exception leaves any member.
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

  /// Opens for the file at `path`; changes nothing on the disk. What an earlier `init` opened is
  /// shut down first. The modes are those of a stream for reading, which isn't used, and one for
  /// writing; without `out` in the second, `store` is refused.
  bool init(const char* path, std::ios_base::openmode readMode, std::ios_base::openmode writeMode);
  /// Writes the whole file from `size` bytes at `data`, which stay the caller's, and returns when
  /// it is on the disk. A null `name` means the path given to `init`; any other names a file in the
  /// same folder. May be called again.
  bool store(const char* name, char* data, int size);
  /// Ends the use of the path; `init` may follow. Harmless when there was no `init`.
  void shutdown();

 private:
  class Impl;
  std::unique_ptr<Impl> m_impl;
};
