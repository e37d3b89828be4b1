#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "src/OBEXStorage.h"

namespace test {

/// A photo passed to the storage.
struct StoredPhoto {
  std::string path;
  std::string bytes;

  bool operator==(const StoredPhoto&) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const StoredPhoto& photo) {
  return out << photo.path << " (" << photo.bytes.size() << " bytes)";
}

/// Records photos, or refuses them.
class RecordingStorage : public OBEXStorage {
 public:
  int writeFile(const char* data, int size, const std::string& path) override {
    ++calls;
    if (refuses) return 0;
    photos.push_back({path, std::string(data, static_cast<std::size_t>(size))});
    return 1;
  }

  bool refuses = false;
  int calls = 0;
  std::vector<StoredPhoto> photos;
};

}  // namespace test
