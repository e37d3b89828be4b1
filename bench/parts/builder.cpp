// The builder: contacts without a picture, with one, and with a large field.

#include <benchmark/benchmark.h>

#include <filesystem>
#include <stdexcept>

#include "bench/parts/Parts.h"
#include "bench/support/Cards.h"
#include "bench/support/Folder.h"
#include "src/CARD_Creator.h"

namespace {

/// A picture in a temporary folder. The builder uses a path that contains "/data/images/" as it is.
class PictureFile {
 public:
  explicit PictureFile(std::size_t size) {
    std::string folder = std::filesystem::temp_directory_path() / "bench-XXXXXX";
    if (mkdtemp(folder.data()) == nullptr) throw std::runtime_error(folder + ": can't create");
    m_folder = folder;
    std::filesystem::create_directories(m_folder / "data" / "images");
    bench::writeFile(path(), bench::picture(1, size));
  }
  ~PictureFile() {
    std::error_code ignored;
    std::filesystem::remove_all(m_folder, ignored);
  }
  PictureFile(const PictureFile&) = delete;
  PictureFile& operator=(const PictureFile&) = delete;

  std::string path() const { return m_folder / "data" / "images" / "picture.jpg"; }

 private:
  std::filesystem::path m_folder;
};

void build(benchmark::State& state, const cards::Contact& contact) {
  std::size_t size = 0;
  for (auto _ : state) {
    const std::string card = CARD_Creator().createVCard(contact);
    benchmark::DoNotOptimize(card.data());
    size = card.size();
  }
  bench::countBytes(state, size);
}

void small(benchmark::State& state) { build(state, bench::contact(1)); }

void pictured100K(benchmark::State& state) {
  const PictureFile picture(100000);
  cards::Contact contact = bench::contact(1);
  contact.picture = picture.path();
  build(state, contact);
}

void largeField(benchmark::State& state) {
  cards::Contact contact = bench::contact(1);
  contact.company.assign(bench::sizeOf(state), 'x');
  build(state, contact);
}

BENCHMARK(small);
BENCHMARK(pictured100K);
BENCHMARK(largeField)->Apply(bench::allSizes);

}  // namespace
