// The whole reader, including the message. Discards pictures.

#include <benchmark/benchmark.h>

#include "bench/parts/Parts.h"
#include "bench/support/Cards.h"
#include "cards/CardReader.h"
#include "src/CARD_Parser.h"

namespace {

void read(benchmark::State& state, const std::string& card) {
  const auto* const data = reinterpret_cast<const unsigned char*>(card.data());
  const std::string encoding = "utf-8";
  cards::DiscardedPictures pictures;
  for (auto _ : state) {
    CARD_Parser reader(&pictures);
    if (reader.parse(data, static_cast<int>(card.size())) != 1) state.SkipWithError("refused");
    benchmark::DoNotOptimize(reader.getPhoneBookWriteMessage(encoding).data());
  }
  bench::countBytes(state, card.size());
}

void small(benchmark::State& state) { read(state, bench::smallCard(1)); }
void smallQuotedPrintable(benchmark::State& state) { read(state, bench::smallCard(3)); }
void photo100K(benchmark::State& state) { read(state, bench::photoCard(1, 100000)); }
void photo(benchmark::State& state) { read(state, bench::photoCard(1, bench::sizeOf(state))); }
void foldedText(benchmark::State& state) {
  read(state, bench::foldedCard(1, bench::sizeOf(state)));
}

BENCHMARK(small);
BENCHMARK(smallQuotedPrintable);
BENCHMARK(photo100K);
BENCHMARK(photo)->Apply(bench::allSizes);
BENCHMARK(foldedText)->Apply(bench::allSizes);

}  // namespace
