// bench_read with KDE's KContacts: converts a card to an Addressee with all fields.

#include <KContacts/Addressee>
#include <KContacts/VCardConverter>
#include <stdexcept>

#include "bench/support/Folder.h"
#include "bench/support/Measuring.h"

namespace {

bool readCard(const QByteArray& text) {
  const KContacts::Addressee::List people = KContacts::VCardConverter().parseVCards(text);
  return people.size() == 1 && !people.first().familyName().isEmpty();
}

void readFolderOfCards(const std::string& folder) {
  std::vector<QByteArray> cards;
  for (const bench::File& card : bench::readFolder(folder, ".vcf")) {
    cards.push_back(QByteArray::fromStdString(card.content));
    if (!readCard(cards.back())) throw std::runtime_error(card.path + ": can't parse");
  }
  bench::measureEach(cards, [](const QByteArray& card) {
    readCard(card);
    return static_cast<std::size_t>(card.size());
  });
}

}  // namespace

int main(int argc, char** argv) { return bench::runOnFolder(argc, argv, readFolderOfCards); }
