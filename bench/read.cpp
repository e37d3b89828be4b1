// bench_read DIR: reads the .vcf files of a folder, each to its finished phonebook message, over
// and over. Pictures are discarded. What it prints stands at bench::measure.

#include <iostream>
#include <stdexcept>

#include "bench/support/Folder.h"
#include "bench/support/Measuring.h"
#include "cards/CardReader.h"
#include "src/CARD_Parser.h"

namespace {

const std::string kEncoding = "utf-8";

/// Whether the card was read to its end. The message is made in any case.
bool readCard(const std::string& card) {
  cards::DiscardedPictures pictures;
  CARD_Parser reader(&pictures);
  const auto* const data = reinterpret_cast<const unsigned char*>(card.data());
  const bool whole = reader.parse(data, static_cast<int>(card.size())) == 1;
  return !reader.getPhoneBookWriteMessage(kEncoding).empty() && whole;
}

// A card that is refused early is cheap: nobody is to take that for speed.
void warnOfRefused(const std::vector<bench::File>& cards) {
  std::size_t refused = 0;
  for (const bench::File& card : cards) refused += readCard(card.content) ? 0 : 1;
  if (refused == cards.size()) throw std::runtime_error("none of the cards can be read");
  if (refused == 0) return;
  std::cerr << "bench_read: " << refused << " of " << cards.size()
            << " cards can't be read; they are measured as far as they go" << std::endl;
}

void readFolderOfCards(const std::string& folder) {
  const std::vector<bench::File> cards = bench::readFolder(folder, ".vcf");
  warnOfRefused(cards);
  bench::measureEach(cards, [](const bench::File& card) {
    readCard(card.content);
    return card.content.size();
  });
}

}  // namespace

int main(int argc, char** argv) { return bench::runOnFolder(argc, argv, readFolderOfCards); }
