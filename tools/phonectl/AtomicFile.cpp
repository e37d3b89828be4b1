#include "tools/phonectl/AtomicFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <utility>

#include "cards/SafeText.h"
#include "tools/phonectl/Failure.h"

namespace phonectl {

namespace {

std::string folderOf(const std::string& path) {
  const std::filesystem::path folder = std::filesystem::path(path).parent_path();
  return folder.empty() ? "." : folder.string();
}

// Where a link leads to; a name that isn't there yet stays as it is.
std::string resolved(const std::string& path) {
  const std::unique_ptr<char, decltype(&std::free)> real(::realpath(path.c_str(), nullptr),
                                                         std::free);
  return real ? std::string(real.get()) : path;
}

}  // namespace

AtomicFile::AtomicFile(const std::string& path) : m_shown(path), m_path(resolved(path)) {
  struct stat status = {};
  const bool exists = ::stat(m_path.c_str(), &status) == 0;
  if (path.empty() || path.back() == '/' || (exists && !S_ISREG(status.st_mode))) {
    throw Failure(kFailed, cards::safeText(m_shown) +
                               ": it is no file; name one, or - for "
                               "standard output");
  }
  m_temporary = folderOf(m_path) + "/.phonectl-XXXXXX";
  m_descriptor = ::mkostemp(m_temporary.data(), O_CLOEXEC);
  if (m_descriptor < 0) refuse("it can't be made");
  if (exists) takeModeOf(m_path);
}

AtomicFile::~AtomicFile() {
  if (m_descriptor < 0) return;
  ::close(m_descriptor);
  ::unlink(m_temporary.c_str());
}

void AtomicFile::takeModeOf(const std::string& path) const {
  struct stat status = {};
  if (::stat(path.c_str(), &status) == 0) ::fchmod(m_descriptor, status.st_mode & 0777);
}

void AtomicFile::write(const std::string& bytes) {
  for (std::size_t at = 0; at < bytes.size();) {
    const ssize_t count = ::write(m_descriptor, bytes.data() + at, bytes.size() - at);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) refuse("it can't be written");
    at += static_cast<std::size_t>(count);
  }
}

void AtomicFile::commit() {
  if (::fsync(m_descriptor) != 0) refuse("it can't be written");
  if (::rename(m_temporary.c_str(), m_path.c_str()) != 0) refuse("it can't be put in its place");
  ::close(std::exchange(m_descriptor, -1));
  const int folder = ::open(folderOf(m_path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (folder < 0) return;
  ::fsync(folder);
  ::close(folder);
}

void AtomicFile::refuse(const char* what) const {
  const char* const reason = ::strerrordesc_np(errno);
  throw Failure(kFailed, cards::safeText(m_shown) + ": " + what +
                             (reason == nullptr ? "" : std::string(": ") + reason));
}

}  // namespace phonectl
