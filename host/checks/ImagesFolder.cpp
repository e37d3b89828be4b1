#include "host/checks/ImagesFolder.h"

#include <fcntl.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "framework/Storage.h"

namespace host {
namespace {

std::string reasonOf(int error) { return std::generic_category().message(error); }

bool isFull(const std::string& root) {
  struct statvfs disk = {};
  if (::statvfs(root.c_str(), &disk) != 0) return false;
  return disk.f_bavail * disk.f_frsize < Storage::Limits().freeBytes;
}

}  // namespace

std::string imagesProblem(const std::string& root) {
  // A file without a name, which is gone when it is closed. Asking for permission alone would not
  // do: root always has it, and a quota never shows.
  const int file = ::open(root.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0600);
  if (file >= 0) {
    ::close(file);
  } else if (errno == EOPNOTSUPP || errno == EISDIR) {
    if (::access(root.c_str(), W_OK | X_OK) != 0) return root + ": " + reasonOf(errno);
  } else {
    return root + ": " + reasonOf(errno);
  }
  return isFull(root) ? root + ": its disk is full" : "";
}

}  // namespace host
