// bench_write DIR: repeatedly builds the cards of the contacts in a folder's .json files. Counts
// the bytes of the cards. See bench::measure for the output.

#include <iostream>

#include "bench/support/Folder.h"
#include "bench/support/Measuring.h"
#include "src/CARD_Creator.h"

namespace {

// Warns because a card without its picture takes less time.
void warnOfPictures(const std::vector<cards::Contact>& records) {
  std::size_t missing = 0;
  for (const cards::Contact& record : records) {
    if (!record.picture.empty() && CARD_Creator().addPicture(record.picture).empty()) ++missing;
  }
  if (missing == 0) return;
  std::cerr << "bench_write: " << missing << " of " << records.size()
            << " contacts have an unreadable picture, which is left out" << std::endl;
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
