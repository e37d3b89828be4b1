#include "host/app/ImagesFolder.h"

#include <fcntl.h>
#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <system_error>

#include "host/app/DiskRoom.h"

namespace host {
namespace {

namespace fs = std::filesystem;

/// What a card's photo may have at most.
constexpr std::uint64_t kPhotoBytes = std::uint64_t{4} << 20;

std::string reasonOf(int error) { return std::generic_category().message(error); }

std::string userName() {
  const passwd* const user = getpwuid(geteuid());  // NOLINT(concurrency-mt-unsafe): one thread.
  return user != nullptr ? user->pw_name : std::to_string(geteuid());
}

std::string remedyFor(int error, const std::string& root) {
  const std::string own = "sudo chown " + userName() + " " + root;
  switch (error) {
    case ENOENT:
      return "make it: sudo mkdir -p " + root + "; " + own;
    case ENOTDIR:
      return "move away what stands in its place, and make a folder: sudo mkdir -p " + root + "; " +
             own;
    case EACCES:
    case EPERM:
      return "give it to the phone's user: " + own +
             "; the folders above must let that user through: namei -l " + root;
    case EROFS:
      return "mount it for writing: sudo mount -o remount,rw \"$(findmnt -n -o TARGET -T " + root +
             ")\"; if the kernel has made it read-only because of errors, dmesg says so; of a "
             "systemd service, ReadWritePaths= must name it";
    case ENOSPC:
    case EDQUOT:
      return diskRoomRemedy(root);
    default:
      return "see to it that user " + userName() + " can write files in " + root;
  }
}

Problem problemOf(int error, const std::string& root) {
  return {root + ": " + reasonOf(error), remedyFor(error, root)};
}

/// Of a folder, a link, or what has just gone: 0.
std::uint64_t sizeOf(const fs::directory_entry& file) {
  std::error_code gone;
  if (!fs::is_regular_file(file.symlink_status(gone))) return 0;
  const std::uintmax_t size = file.file_size(gone);
  return gone ? 0 : size;
}

}  // namespace

Problem imagesProblem(const std::string& root) {
  // A file without a name, which is gone when it is closed. Asking for permission alone would not
  // do: root always has it, and a quota never shows.
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
      return {root + ": it holds as much as the phone keeps there, " +
                  std::to_string(limits.files) + " files or " + std::to_string(limits.bytes >> 20) +
                  " MiB",
              "move photos that aren't needed any more out of " + root};
  }
  return {};
}

}  // namespace host
