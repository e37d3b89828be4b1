#pragma once

#include <cstdint>
#include <ios>
#include <memory>
#include <string>

#include "framework/Export.h"

/// Writes one file beneath the images folder. Everything that a stranger can make the telephone
/// write goes through here.
///
/// Use: `init` with a path, `store` with the whole contents, `shutdown`. All return false on
/// failure and log the reason as component and source "Storage".
///
/// Paths are absolute and start with the root exactly as given here; the root must exist. They are
/// resolved strictly beneath it: ".." components, symbolic links, mount points, names of anything
/// but regular files, and names that start with ".storage-" are refused. Missing folders are
/// created, and removed again if the write fails.
///
/// The contents go to a temporary file in the root (".storage-" and 16 digits), are synced, and
/// renamed into place: readers see the old file or the new one, never a part. A different file of
/// that name is kept as `NAME~`, replacing an older backup; if that fails, so does the write. If
/// the file already has these contents, nothing is written. Temporary files of killed processes are
/// removed when the root is next counted.
///
/// `Limits` apply to everything beneath the root, including the temporary file and backups. They
/// hold exactly while one process writes. Writes by other processes, and deletions, are noticed at
/// the next count: at most 5 s later (1 s when a limit is reached; longer where counting takes more
/// than a twentieth of that). Until then the limits may be exceeded by what others have written.
///
/// Threads: use one object from one thread. Objects in any number of threads and processes may
/// write at the same time, also to the same file: the last rename wins. They take turns with a lock
/// on the root folder; a write fails if it can't get the lock within 30 seconds. No member throws.
class FRAMEWORK_API Storage {
 public:
  struct Limits {
    std::uint64_t files = 20000;                        ///< files and folders
    std::uint64_t bytes = std::uint64_t{2} << 30;       ///< sum of the sizes of all files
    std::uint64_t freeBytes = std::uint64_t{16} << 20;  ///< to be left free on the disk
    unsigned depth = 16;                                ///< folders between the root and the file
  };

  /// Returns "/data/images", without a trailing slash.
  static const char* defaultRoot();

  Storage();
  /// With another root and other limits, for tests.
  Storage(const std::string& root, const Limits& limits);
  ~Storage();
  Storage(const Storage&) = delete;
  Storage& operator=(const Storage&) = delete;

  /// Checks `path` and opens the root; writes nothing. Calls `shutdown` first. `readMode` is
  /// ignored; without `out` in `writeMode`, `store` fails.
  bool init(const char* path, std::ios_base::openmode readMode, std::ios_base::openmode writeMode);
  /// Writes the whole file and returns once it is on the disk. `data` stays the caller's. If `name`
  /// is not null, it names another file in the folder of the path given to `init`. May be called
  /// repeatedly.
  bool store(const char* name, char* data, int size);
  /// Closes the root; `init` may follow. May be called at any time.
  void shutdown();

 private:
  class Impl;
  std::unique_ptr<Impl> m_impl;
};
