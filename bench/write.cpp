// bench_write DIR: makes the cards of the contact records in a folder's .json files over and over.
// Bytes are those of the cards made. What it prints stands at bench::measure.

#include <iostream>

#include "bench/support/Measuring.h"
#include "bench/support/Records.h"
#include "src/CARD_Creator.h"

namespace {

// A card without the picture that it should have is cheap: nobody is to take that for speed.
void warnOfPictures(const std::vector<cards::Contact>& records) {
  std::size_t missing = 0;
  for (const cards::Contact& record : records) {
    if (!record.picture.empty() && CARD_Creator().addPicture(record.picture).empty()) ++missing;
  }
  if (missing == 0) return;
  std::cerr << "bench_write: " << missing << " of " << records.size()
            << " records name a picture that can't be read; their cards are made without it"
            << std::endl;
}

void writeCardsOf(const std::string& folder) {
  const std::vector<cards::Contact> records = bench::readRecords(folder);
  warnOfPictures(records);
  bench::measureEach(records, [](const cards::Contact& record) {
    return CARD_Creator().createVCard(record).size();
  });
}

}  // namespace

int main(int argc, char** argv) { return bench::runOnFolder(argc, argv, writeCardsOf); }
