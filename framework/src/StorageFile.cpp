#include "StorageFile.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cstring>

#include "StorageDescriptor.h"
#include "StorageError.h"

namespace framework_detail {

std::optional<std::uint64_t> storageFileSize(int folder, const char* name) {
  struct stat found {};
  if (::fstatat(folder, name, &found, AT_SYMLINK_NOFOLLOW) != 0) {
    if (errno == ENOENT) return std::nullopt;
    throw StorageError("the file's name can't be looked up", errno);
  }
  if (!S_ISREG(found.st_mode)) throw StorageError("the name is taken by what is not a file");
  return static_cast<std::uint64_t>(found.st_size);
}

bool storageFileHolds(int folder, const char* name, const char* data, std::size_t size) {
  if (storageFileSize(folder, name) != size) return false;
  // Without O_NONBLOCK the open would hang if the file were exchanged for a pipe at this moment.
  const StorageDescriptor file(
      ::openat(folder, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (!file) return false;
  std::array<char, 32768> buffer;
  std::size_t compared = 0;
  while (true) {
    const ssize_t got = ::read(file.get(), buffer.data(), buffer.size());
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return false;
    if (got == 0) return compared == size;
    const auto count = static_cast<std::size_t>(got);
    if (count > size - compared) return false;
    if (std::memcmp(buffer.data(), data + compared, count) != 0) return false;
    compared += count;
  }
}

}  // namespace framework_detail
