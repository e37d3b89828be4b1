#include "host/app/StorageChecks.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

namespace host {
namespace {

namespace fs = std::filesystem;

/// Largest photo, in bytes.
constexpr std::uint64_t kPhotoBytes = std::uint64_t{4} << 20;

constexpr const char* kSqlite = "sqlite3://";
/// Estimate for an entry in the database and its write-ahead log, in bytes.
constexpr std::uint64_t kEntryBytes = std::uint64_t{1} << 20;

std::string reasonOf(int error) { return std::generic_category().message(error); }

std::string userName() {
  const passwd* const user = getpwuid(geteuid());  // NOLINT(concurrency-mt-unsafe): one thread.
  return user != nullptr ? user->pw_name : std::to_string(geteuid());
}

std::string diskRoomRemedy(const std::string& folder) {
  return "make room on the disk of " + folder + "; df -h " + folder + " and df -i " + folder +
         " show how full it is";
}

std::string remedyFor(int error, const std::string& root) {
  const std::string own = "sudo chown " + userName() + " " + root;
  switch (error) {
    case ENOENT:
      return "create it: sudo mkdir -p " + root + "; " + own;
    case ENOTDIR:
      return "move away the file of that name, and create the folder: sudo mkdir -p " + root +
             "; " + own;
    case EACCES:
    case EPERM:
      return "give it to the phone's user: " + own +
             "; that user needs access to the folders above, too: namei -l " + root;
    case EROFS:
      return "mount it for writing: sudo mount -o remount,rw \"$(findmnt -n -o TARGET -T " + root +
             ")\"; dmesg tells if the kernel made it read-only because of errors; the unit of a "
             "systemd service must list it in ReadWritePaths=";
    case ENOSPC:
    case EDQUOT:
      return diskRoomRemedy(root);
    default:
      return "make sure that user " + userName() + " can create files in " + root;
  }
}

Problem problemOf(int error, const std::string& root) {
  return {root + ": " + reasonOf(error), remedyFor(error, root)};
}

/// 0 for anything but a regular file.
std::uint64_t sizeOf(const fs::directory_entry& file) {
  std::error_code gone;
  if (!fs::is_regular_file(file.symlink_status(gone))) return 0;
  const std::uintmax_t size = file.file_size(gone);
  return gone ? 0 : size;
}

/// The nearest parent folder that exists.
fs::path existingFolder(fs::path folder) {
  std::error_code error;
  while (folder.has_relative_path() && !fs::exists(folder, error)) folder = folder.parent_path();
  return folder;
}

}  // namespace

Problem imagesProblem(const std::string& root) {
  // Opens an unnamed file, which close deletes. access() alone would miss quotas, and root always
  // has permission.
  const int file = ::open(root.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0600);
  if (file >= 0) {
    ::close(file);
  } else if (errno == EOPNOTSUPP || errno == EISDIR) {
    if (::access(root.c_str(), W_OK | X_OK) != 0) return problemOf(errno, root);
  } else {
    return problemOf(errno, root);
  }
  return diskRoomProblem(root, Storage::Limits().freeBytes + kPhotoBytes);
}

Problem imagesQuotaProblem(const std::string& root, const Storage::Limits& limits) {
  std::uint64_t files = 0;
  std::uint64_t bytes = 0;
  std::error_code error;
  constexpr auto kOptions = fs::directory_options::skip_permission_denied;
  for (auto file = fs::recursive_directory_iterator(root, kOptions, error);
       !error && file != fs::recursive_directory_iterator(); file.increment(error)) {
    ++files;
    bytes += sizeOf(*file);
    if (files >= limits.files || bytes + kPhotoBytes > limits.bytes)
      return {root + ": it has reached the phone's limit of " + std::to_string(limits.files) +
                  " files or " + std::to_string(limits.bytes >> 20) + " MiB",
              "move photos that are no longer needed out of " + root};
  }
  return {};
}

Problem diskRoomProblem(const std::string& folder, std::uint64_t bytes) {
  struct statvfs disk = {};
  if (::statvfs(folder.c_str(), &disk) != 0) return {};
  if (std::uint64_t{disk.f_bavail} * disk.f_frsize >= bytes) return {};
  return {folder + ": its disk is full", diskRoomRemedy(folder)};
}

Problem phonebookDiskProblem(const std::string& connection) {
  if (!connection.starts_with(kSqlite)) return {};
  const fs::path file = connection.substr(std::string(kSqlite).size());
  if (!file.is_absolute()) return {};
  return diskRoomProblem(existingFolder(file.parent_path()).string(), kEntryBytes);
}

}  // namespace host
