#include "cards/ImagesFolder.h"

#include "framework/Storage.h"

namespace contacts {

int ImagesFolder::writeFile(const char* data, int size, const std::string& path) {
  Storage storage;
  const bool written = storage.init(path.c_str(), std::ios_base::in | std::ios_base::binary,
                                    std::ios_base::out | std::ios_base::binary) &&
                       // The gate only reads what it is given.
                       storage.store(nullptr, const_cast<char*>(data), size);
  storage.shutdown();
  return written ? 1 : 0;
}

}  // namespace contacts
