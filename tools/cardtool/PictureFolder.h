#pragma once

#include <string>
#include <vector>

#include "src/OBEXStorage.h"

namespace cardtool {

/// Puts a card's pictures into a folder of the user's, in place of the phone's images folder. The
/// phone's own gate keeps what a card says strictly beneath it.
///
/// Threads: one.
class PictureFolder : public OBEXStorage {
 public:
  /// Throws Failure when there is no such folder.
  explicit PictureFolder(const std::string& folder);

  int writeFile(const char* data, int size, const std::string& path) override;

  /// The paths of what was written, in order.
  [[nodiscard]] const std::vector<std::string>& written() const { return m_written; }

 private:
  const std::string m_folder;
  std::vector<std::string> m_written;
};

}  // namespace cardtool
