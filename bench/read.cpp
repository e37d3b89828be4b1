// bench_read DIR: repeatedly converts the .vcf files of a folder to phonebook messages. Discards
// pictures. See bench::measure for the output.

#include <iostream>
#include <stdexcept>

#include "bench/support/Folder.h"
#include "bench/support/Measuring.h"
#include "cards/CardReader.h"
#include "src/CARD_Parser.h"

namespace {

const std::string kEncoding = "utf-8";

/// Returns whether the card parses. Builds the message in any case.
bool readCard(const std::string& card) {
  cards::DiscardedPictures pictures;
  CARD_Parser reader(&pictures);
  const auto* const data = reinterpret_cast<const unsigned char*>(card.data());
  const bool whole = reader.parse(data, static_cast<int>(card.size())) == 1;
  return !reader.getPhoneBookWriteMessage(kEncoding).empty() && whole;
}

// Warns because a card that fails to parse takes less time.
void warnOfRefused(const std::string& folder, const std::vector<bench::File>& cards) {
  std::size_t refused = 0;
  for (const bench::File& card : cards) refused += readCard(card.content) ? 0 : 1;
  if (refused == cards.size()) throw std::runtime_error(folder + ": no card parses");
  if (refused == 0) return;
  std::cerr << "bench_read: " << refused << " of " << cards.size()
            << " cards don't parse and are measured up to the error" << std::endl;
}

void readFolderOfCards(const std::string& folder) {
  const std::vector<bench::File> cards = bench::readFolder(folder, ".vcf");
  warnOfRefused(folder, cards);
  bench::measureEach(cards, [](const bench::File& card) {
    readCard(card.content);
    return card.content.size();
  });
}

}  // namespace

int main(int argc, char** argv) { return bench::runOnFolder(argc, argv, readFolderOfCards); }
