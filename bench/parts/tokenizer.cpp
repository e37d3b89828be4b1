// The tokenizer with empty handlers.

#include <benchmark/benchmark.h>

#include "bench/parts/Sizes.h"
#include "bench/support/Cards.h"
#include "src/CARDCAL_Parser.h"

namespace {

class IdleParser : public CARDCAL_Parser {
 public:
  int propHandler(const char*, const char**) override { return 1; }
  int dataHandler(const char*, int) override { return 1; }
  int groupHandler(const char*) override { return 1; }
};

void tokenize(benchmark::State& state, const std::string& card) {
  const auto* const data = reinterpret_cast<const unsigned char*>(card.data());
  for (auto _ : state) {
    IdleParser parser;
    if (parser.parse(data, static_cast<int>(card.size())) != 1) state.SkipWithError("refused");
  }
  bench::countBytes(state, card.size());
}

void small(benchmark::State& state) { tokenize(state, bench::smallCard(1)); }
void smallQuotedPrintable(benchmark::State& state) { tokenize(state, bench::smallCard(3)); }
void photo(benchmark::State& state) { tokenize(state, bench::photoCard(1, bench::sizeOf(state))); }
void foldedText(benchmark::State& state) {
  tokenize(state, bench::foldedCard(1, bench::sizeOf(state)));
}

BENCHMARK(small);
BENCHMARK(smallQuotedPrintable);
BENCHMARK(photo)->Apply(bench::allSizes);
BENCHMARK(foldedText)->Apply(bench::allSizes);

}  // namespace
