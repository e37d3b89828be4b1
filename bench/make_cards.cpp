// bench_make_cards DIR: writes the cards and contacts to measure with. Always the same bytes.
//
//   small/     small vCards 2.1            photo/      with a picture of 100 KB, folded at 76
//   folded/    vCards 3.0 of 20 KB text    records/    contacts without a picture, as JSON
//   pictured/  contacts with a picture in pictured/data/images/

#include <filesystem>

#include "bench/support/Cards.h"
#include "bench/support/Folder.h"
#include "bench/support/Measuring.h"
#include "cards/Contact.h"

namespace {

constexpr unsigned kSmall = 100;
constexpr unsigned kLarge = 20;
constexpr std::size_t kPicture = 100000;
constexpr std::size_t kText = 20000;

std::string numbered(const std::filesystem::path& folder, unsigned number, const char* suffix) {
  return folder / (std::to_string(1000 + number) + suffix);
}

void makeCards(const std::filesystem::path& folder) {
  for (const char* kind : {"small", "photo", "folded"}) {
    std::filesystem::create_directories(folder / kind);
  }
  for (unsigned i = 0; i < kSmall; ++i) {
    bench::writeFile(numbered(folder / "small", i, ".vcf"), bench::smallCard(i));
  }
  for (unsigned i = 0; i < kLarge; ++i) {
    bench::writeFile(numbered(folder / "photo", i, ".vcf"), bench::photoCard(i, kPicture));
    bench::writeFile(numbered(folder / "folded", i, ".vcf"), bench::foldedCard(i, kText));
  }
}

void makeRecords(const std::filesystem::path& folder) {
  // The builder uses a path that contains "/data/images/" as it is.
  const std::filesystem::path images = folder / "pictured" / "data" / "images";
  std::filesystem::create_directories(images);
  std::filesystem::create_directories(folder / "records");
  for (unsigned i = 0; i < kSmall; ++i) {
    bench::writeFile(numbered(folder / "records", i, ".json"),
                     cards::contactJson(bench::contact(i)));
  }
  for (unsigned i = 0; i < kLarge; ++i) {
    cards::Contact contact = bench::contact(i);
    contact.picture = numbered(images, i, ".jpg");
    bench::writeFile(contact.picture, bench::picture(i, kPicture));
    bench::writeFile(numbered(folder / "pictured", i, ".json"), cards::contactJson(contact));
  }
}

}  // namespace

int main(int argc, char** argv) {
  return bench::runOnFolder(argc, argv, [](const std::string& name) {
    const std::filesystem::path folder = std::filesystem::absolute(name);
    makeCards(folder);
    makeRecords(folder);
  });
}
