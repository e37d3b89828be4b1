#pragma once

#include <array>
#include <string_view>

namespace framework_detail {

/// The name of a file that is being written, in the root: ".storage-" and 16 hexadecimal digits.
/// Its length is fixed and not that of the target's name, which may be as long as the disk allows.
class StorageTemporaryName {
 public:
  /// One that this process hasn't used yet. Another process, or an earlier one of the same number,
  /// may have: create it exclusively and take the next when it is there.
  static StorageTemporaryName next() noexcept;
  /// One that nothing in the folder `root` has. It stays so while the root's StorageLock is held.
  static StorageTemporaryName unusedIn(int root) noexcept;
  /// Whether `name` is one of these, and so ours to remove when its writer is gone.
  static bool matches(std::string_view name) noexcept;
  /// Whether a target may not be called so, or it would be taken for one of these.
  static bool reserved(std::string_view name) noexcept;

  const char* c_str() const noexcept { return m_text.data(); }

 private:
  static constexpr std::string_view kPrefix = ".storage-";
  static constexpr std::size_t kDigits = 16;

  std::array<char, kPrefix.size() + kDigits + 1> m_text{};
};

}  // namespace framework_detail
