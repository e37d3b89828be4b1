#include "StorageTemporaryName.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdint>

namespace framework_detail {

StorageTemporaryName StorageTemporaryName::next() noexcept {
  static std::atomic<std::uint32_t> counter{0};
  const auto process = static_cast<std::uint64_t>(::getpid());
  std::uint64_t number = process << 32 | counter.fetch_add(1, std::memory_order_relaxed);
  StorageTemporaryName name;
  std::copy(kPrefix.begin(), kPrefix.end(), name.m_text.begin());
  for (std::size_t digit = 0; digit < kDigits; ++digit) {
    name.m_text[kPrefix.size() + kDigits - 1 - digit] = "0123456789abcdef"[number & 15];
    number >>= 4;
  }
  return name;
}

StorageTemporaryName StorageTemporaryName::unusedIn(int root) noexcept {
  StorageTemporaryName name = next();
  struct stat found {};
  while (::fstatat(root, name.c_str(), &found, AT_SYMLINK_NOFOLLOW) == 0) name = next();
  return name;
}

bool StorageTemporaryName::matches(std::string_view name) noexcept {
  return reserved(name) && name.size() == kPrefix.size() + kDigits &&
         name.find_first_not_of("0123456789abcdef", kPrefix.size()) == std::string_view::npos;
}

bool StorageTemporaryName::reserved(std::string_view name) noexcept {
  return name.starts_with(kPrefix);
}

}  // namespace framework_detail
