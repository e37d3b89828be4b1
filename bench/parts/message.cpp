// The phonebook message of a parsed card: an ordinary one, and with a large field that needs no
// escaping or consists of characters to escape.

#include <benchmark/benchmark.h>

#include "bench/parts/Parts.h"
#include "bench/support/Cards.h"
#include "src/CARD_Parser.h"

namespace {

void makeMessage(benchmark::State& state, const std::string& card, std::size_t bytes) {
  const std::string encoding = "utf-8";
  CARD_Parser reader(nullptr);
  const auto* const data = reinterpret_cast<const unsigned char*>(card.data());
  if (reader.parse(data, static_cast<int>(card.size())) != 1) state.SkipWithError("refused");
  for (auto _ : state) {
    benchmark::DoNotOptimize(reader.getPhoneBookWriteMessage(encoding).data());
  }
  bench::countBytes(state, bytes);
}

void makeLarge(benchmark::State& state, char filling) {
  const std::string field(bench::sizeOf(state), filling);
  makeMessage(state, "BEGIN:VCARD\r\nORG:" + field + "\r\nEND:VCARD\r\n", field.size());
}

void small(benchmark::State& state) {
  const std::string card = bench::smallCard(1);
  makeMessage(state, card, card.size());
}
void plainField(benchmark::State& state) { makeLarge(state, 'x'); }
void escapedField(benchmark::State& state) { makeLarge(state, '&'); }

BENCHMARK(small);
BENCHMARK(plainField)->Apply(bench::allSizes);
BENCHMARK(escapedField)->Apply(bench::allSizes);

}  // namespace
