#include "tests/host/directory/Mounts.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>
#include <vector>

namespace test {

namespace {

void Check(bool good, const char* what) {
  if (!good) throw std::system_error(errno, std::generic_category(), what);
}

}  // namespace

bool MayMount() {
  static const bool may = ::unshare(CLONE_NEWNS) == 0 &&
                          ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
  return may;
}

MemoryDisk::MemoryDisk(const std::string& folder, std::size_t bytes) : m_folder(folder) {
  const std::string options = "mode=0700,size=" + std::to_string(bytes);
  Check(::mount("tmpfs", folder.c_str(), "tmpfs", 0, options.c_str()) == 0, "mount");
}

MemoryDisk::~MemoryDisk() { ::umount2(m_folder.c_str(), MNT_DETACH); }

void MemoryDisk::MakeReadOnly() const {
  Check(::mount("none", m_folder.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr) == 0,
        "remount");
}

void MemoryDisk::MakeWritable() const {
  Check(::mount("none", m_folder.c_str(), nullptr, MS_REMOUNT, nullptr) == 0, "remount");
}

void MemoryDisk::Fill() const {
  const int descriptor = ::open(Filler().c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  Check(descriptor >= 0, "filler");
  const std::vector<char> page(4096, 'x');
  while (::write(descriptor, page.data(), page.size()) > 0) {
  }
  const int reason = errno;
  ::close(descriptor);
  if (reason != ENOSPC) throw std::runtime_error("the disk did not get full");
}

void MemoryDisk::Empty() const { Check(::unlink(Filler().c_str()) == 0, "filler"); }

}  // namespace test
