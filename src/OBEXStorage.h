#pragma once

#include <string>

/// Stores the photos of received cards. Called on the thread that parses the card; must outlive the
/// parser.
class OBEXStorage {
 public:
  virtual ~OBEXStorage() = default;

  /// Writes `size` bytes to `path`, an absolute path below "/data/images/". Returns non-zero if the
  /// whole file was written.
  virtual int writeFile(const char* data, int size, const std::string& path) = 0;
};
