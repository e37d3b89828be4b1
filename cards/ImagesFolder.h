#pragma once

#include "src/OBEXStorage.h"

namespace contacts {

/// Puts a card's pictures where the phone puts them, /data/images, and by the same gate.
class ImagesFolder : public OBEXStorage {
 public:
  int writeFile(const char* data, int size, const std::string& path) override;
};

}  // namespace contacts
