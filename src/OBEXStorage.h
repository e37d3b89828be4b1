#pragma once

#include <string>

/// Where the reader of a received card puts the card's photo.
///
/// Threads: called from the thread that reads the card. An implementation outlives the readers that
/// it was given to.
class OBEXStorage {
 public:
  virtual ~OBEXStorage() = default;

  /// Writes the file named by `path` (an absolute path beneath "/data/images/") from `size` bytes
  /// at `data`, which stay the caller's. Returns non-zero when the whole file was written.
  virtual int writeFile(const char* data, int size, const std::string& path) = 0;
};
