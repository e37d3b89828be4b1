#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

namespace framework_detail {

/// The size of the file `name` in `folder`, nothing when there is none of that name. Throws
/// StorageError when the name is taken by something else: a folder, a symbolic link, a device.
std::optional<std::uint64_t> storageFileSize(int folder, const char* name);

/// Whether `name` in `folder` is a file that holds these bytes and no others. One that can't be
/// read doesn't, as far as is known.
bool storageFileHolds(int folder, const char* name, const char* data, std::size_t size);

}  // namespace framework_detail
