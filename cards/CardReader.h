#pragma once

#include <optional>
#include <string>
#include <vector>

#include "framework/Storage.h"
#include "src/OBEXStorage.h"

namespace cards {

/// Accepts pictures and discards them.
class DiscardedPictures : public OBEXStorage {
 public:
  int writeFile(const char*, int, const std::string&) override { return 1; }
};

/// Stores pictures in a folder with the phone's own checks: no card writes outside of it.
///
/// Threads: one.
class PictureFolder : public OBEXStorage {
 public:
  /// The phone's images folder, with the phone's limits.
  PictureFolder();
  /// Another folder, which must exist; an absolute path. No limit on what it holds already.
  explicit PictureFolder(const std::string& folder);

  int writeFile(const char* data, int size, const std::string& path) override;

  /// Paths of the pictures written so far.
  [[nodiscard]] const std::vector<std::string>& written() const { return m_written; }

 private:
  const std::string m_folder;
  const Storage::Limits m_limits;
  std::vector<std::string> m_written;
};

/// What the phone's reader makes of a card.
struct CardReading {
  std::optional<std::string> message{};  ///< phonebook write message; none if unreadable
  std::string error{};                   ///< why it is unreadable: a clause, safe to print
  int truncatedTexts = 0;  ///< fields cut at a character that the phone can't represent
};

/// Reads one card as the phone reads a received card. Pictures go to `pictures`.
CardReading readCard(const std::string& text, OBEXStorage& pictures);

}  // namespace cards
