// The tokenizer with empty handlers.

#include <benchmark/benchmark.h>

#include "bench/parts/Parts.h"
#include "bench/support/Cards.h"

namespace {

void small(benchmark::State& state) { bench::tokenize(state, bench::smallCard(1)); }
void smallQuotedPrintable(benchmark::State& state) { bench::tokenize(state, bench::smallCard(3)); }
void photo(benchmark::State& state) {
  bench::tokenize(state, bench::photoCard(1, bench::sizeOf(state)));
}
void foldedText(benchmark::State& state) {
  bench::tokenize(state, bench::foldedCard(1, bench::sizeOf(state)));
}

BENCHMARK(small);
BENCHMARK(smallQuotedPrintable);
BENCHMARK(photo)->Apply(bench::allSizes);
BENCHMARK(foldedText)->Apply(bench::allSizes);

}  // namespace
