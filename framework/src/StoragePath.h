#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace framework_detail {

/// A path beneath the root, taken apart and checked as far as its text goes: absolute, beneath the
/// root, without a "..", with a name at its end. Empty and "." components are left out, as the
/// system does.
class StoragePath {
 public:
  StoragePath() = default;
  /// `root` has no slash at its end. Throws StorageError.
  StoragePath(std::string_view root, std::string_view path, unsigned depth);

  /// The same folder, another file. Throws StorageError.
  StoragePath withName(std::string_view name) const;

  const std::vector<std::string>& folders() const { return m_folders; }
  const std::string& name() const { return m_name; }
  /// The first `count` folders as a path relative to the root, "." when `count` is 0.
  std::string folderPath(std::size_t count) const;

 private:
  void add(std::string_view component);

  std::vector<std::string> m_folders;
  std::string m_name;
};

}  // namespace framework_detail
