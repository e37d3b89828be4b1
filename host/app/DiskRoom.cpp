#include "host/app/DiskRoom.h"

#include <sys/statvfs.h>

namespace host {

Problem diskRoomProblem(const std::string& folder, std::uint64_t bytes) {
  struct statvfs disk = {};
  if (::statvfs(folder.c_str(), &disk) != 0) return {};
  if (std::uint64_t{disk.f_bavail} * disk.f_frsize >= bytes) return {};
  return {folder + ": its disk is full", diskRoomRemedy(folder)};
}

std::string diskRoomRemedy(const std::string& folder) {
  return "make room on the disk of " + folder + "; how full it is says: df -h " + folder +
         "; df -i " + folder;
}

}  // namespace host
