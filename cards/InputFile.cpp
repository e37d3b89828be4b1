#include "cards/InputFile.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "cards/SafeText.h"

namespace cards {

namespace {

[[noreturn]] void refuse(const std::string& path, const std::string& why) {
  throw InputError(shownInput(path) + ": " + why);
}

[[noreturn]] void refuseWithError(const std::string& path, const std::string& what) {
  const char* const reason = ::strerrordesc_np(errno);
  refuse(path, reason == nullptr ? what : what + ": " + reason);
}

}  // namespace

std::string shownInput(const std::string& path) {
  return path == "-" ? "standard input" : safeText(path);
}

std::string readInput(const std::string& path, std::size_t maxBytes) {
  const bool standard = path == "-";
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> opened(
      standard ? nullptr : std::fopen(path.c_str(), "re"), std::fclose);
  std::FILE* const file = standard ? stdin : opened.get();
  if (file == nullptr) refuseWithError(path, "can't be opened");
  std::string text;
  std::array<char, 65536> buffer{};
  while (const std::size_t count = std::fread(buffer.data(), 1, buffer.size(), file)) {
    text.append(buffer.data(), count);
    if (text.size() > maxBytes) {
      refuse(path, "larger than " + std::to_string(maxBytes >> 20) + " MiB, the phone's limit");
    }
  }
  if (std::ferror(file) != 0) refuseWithError(path, "can't be read");
  return text;
}

}  // namespace cards
