#include "cards/InputFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "cards/SafeText.h"

namespace contacts {

namespace {

/// Closes a descriptor of our own.
class Descriptor {
 public:
  explicit Descriptor(int descriptor) : m_descriptor(descriptor) {}
  ~Descriptor() {
    if (m_descriptor > STDERR_FILENO) ::close(m_descriptor);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  [[nodiscard]] int get() const { return m_descriptor; }

 private:
  const int m_descriptor;
};

[[noreturn]] void refuse(const std::string& path, const std::string& why) {
  throw InputError(shownInput(path) + ": " + why);
}

[[noreturn]] void refuseWithError(const std::string& path, const char* what) {
  const char* const reason = ::strerrordesc_np(errno);
  refuse(path, std::string(what) + (reason == nullptr ? "" : std::string(": ") + reason));
}

int openInput(const std::string& path) {
  if (path == "-") return STDIN_FILENO;
  const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) refuseWithError(path, "it can't be opened");
  return descriptor;
}

}  // namespace

std::string shownInput(const std::string& path) {
  return path == "-" ? "standard input" : cards::safeText(path);
}

std::string readInput(const std::string& path, std::size_t maxBytes) {
  const Descriptor input(openInput(path));
  struct stat status {};
  if (::fstat(input.get(), &status) == 0 && S_ISDIR(status.st_mode)) {
    refuse(path, "it is a folder; name a file");
  }
  std::string text;
  std::array<char, 65536> buffer{};
  while (true) {
    const ssize_t count = ::read(input.get(), buffer.data(), buffer.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) refuseWithError(path, "it can't be read");
    if (count == 0) return text;
    text.append(buffer.data(), static_cast<std::size_t>(count));
    if (text.size() > maxBytes) {
      refuse(path, "it is larger than " + std::to_string(maxBytes >> 20) +
                       " MiB, which the phone doesn't take");
    }
  }
}

}  // namespace contacts
