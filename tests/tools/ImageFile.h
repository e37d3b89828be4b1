#pragma once

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace test {

/// A file in the phone's images folder under a name unique to the test, removed by the destructor.
class ImageFile {
 public:
  /// `name` gets a unique suffix. Without contents no file is created.
  explicit ImageFile(const std::string& name, const std::string& contents = "")
      : m_name(name + std::to_string(::getpid()) + ".jpg") {
    if (!contents.empty()) std::ofstream(path(), std::ios::binary) << contents;
  }
  ~ImageFile() {
    std::error_code ignored;
    std::filesystem::remove(path(), ignored);
  }
  ImageFile(const ImageFile&) = delete;
  ImageFile& operator=(const ImageFile&) = delete;

  [[nodiscard]] const std::string& name() const { return m_name; }
  [[nodiscard]] std::string path() const { return "/data/images/" + m_name; }

 private:
  const std::string m_name;
};

}  // namespace test
