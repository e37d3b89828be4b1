// bench_read with Evolution's EVCard, which parses and decodes on demand. Asks for all decoded
// values, since our reader decodes them, too.

#include <libebook-contacts/libebook-contacts.h>

#include <stdexcept>

#include "bench/support/Folder.h"
#include "bench/support/Measuring.h"

namespace {

/// Returns the size of all values.
std::size_t readCard(const std::string& text) {
  EVCard* const card = e_vcard_new_from_string(text.c_str());
  std::size_t bytes = 0;
  for (GList* item = e_vcard_get_attributes(card); item != nullptr; item = item->next) {
    auto* const attribute = static_cast<EVCardAttribute*>(item->data);
    for (GList* value = e_vcard_attribute_get_values_decoded(attribute); value != nullptr;
         value = value->next) {
      bytes += static_cast<GString*>(value->data)->len;
    }
  }
  g_object_unref(card);
  return bytes;
}

void readFolderOfCards(const std::string& folder) {
  const std::vector<bench::File> cards = bench::readFolder(folder, ".vcf");
  for (const bench::File& card : cards) {
    // The rest is names, parameters, folding and transfer encoding.
    if (readCard(card.content) < card.content.size() / 3) {
      throw std::runtime_error(card.path + ": not read completely");
    }
  }
  bench::measureEach(cards, [](const bench::File& card) {
    readCard(card.content);
    return card.content.size();
  });
}

}  // namespace

int main(int argc, char** argv) { return bench::runOnFolder(argc, argv, readFolderOfCards); }
