#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "src/CARD_Parser.h"
#include "tests/src/RecordingStorage.h"
#include "tests/support/LogRecorder.h"

namespace test {

/// The result of `parse`.
inline int readWith(CARD_Parser& reader, std::string_view text) {
  return reader.parse(reinterpret_cast<const unsigned char*>(text.data()),
                      static_cast<int>(text.size()));
}

/// Feeds cards to a reader and checks the phonebook write message.
class CardTest : public ::testing::Test {
 protected:
  /// Reads the text and expects success.
  void Feed(std::string_view text) { EXPECT_EQ(readWith(reader, text), 1) << text; }
  void FeedAndFail(std::string_view text) { EXPECT_EQ(readWith(reader, text), 0) << text; }
  /// The same for a card of these lines.
  void FeedCard(std::string_view lines) { Feed(Card(lines)); }
  void FeedCardAndFail(std::string_view lines) { FeedAndFail(Card(lines)); }

  static std::string Card(std::string_view lines) {
    return "BEGIN:VCARD\n" + std::string(lines) + "\nEND:VCARD\n";
  }

  const std::string& Message() { return reader.getPhoneBookWriteMessage("utf-8"); }

  /// Expects an element with this content, entities included.
  void ExpectEntry(const std::string& name, const std::string& content) {
    EXPECT_THAT(Message(), ::testing::HasSubstr("<" + name + ">" + content + "</" + name + ">"));
  }
  void ExpectNoEntry(const std::string& name) {
    EXPECT_THAT(Message(), ::testing::Not(::testing::HasSubstr("<" + name)));
  }
  void ExpectPhotos(const std::vector<StoredPhoto>& photos) { EXPECT_EQ(storage.photos, photos); }

  RecordingStorage storage;
  CARD_Parser reader{&storage};
};

}  // namespace test
