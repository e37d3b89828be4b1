#include "host/app/PhonebookDisk.h"

#include <filesystem>

#include "host/app/DiskRoom.h"

namespace host {
namespace {

namespace fs = std::filesystem;

constexpr const char* kFile = "sqlite3://";
/// What an entry without a photo may take, with its place in the log and in the file.
constexpr std::uint64_t kBytes = std::uint64_t{1} << 20;

/// The folder that is there already, in which the missing ones would be made.
fs::path existingFolder(fs::path folder) {
  std::error_code error;
  while (folder.has_relative_path() && !fs::exists(folder, error)) folder = folder.parent_path();
  return folder;
}

}  // namespace

Problem phonebookDiskProblem(const std::string& connection) {
  if (!connection.starts_with(kFile)) return {};
  const fs::path file = connection.substr(std::string(kFile).size());
  if (!file.is_absolute()) return {};
  return diskRoomProblem(existingFolder(file.parent_path()).string(), kBytes);
}

}  // namespace host
