#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "src/CARDCAL_Parser.h"

namespace bench {

// Sizes from 1 KiB to 16 MiB, and the cost per byte, which is constant where time is linear.

inline void allSizes(benchmark::internal::Benchmark* benchmark) {
  constexpr std::int64_t kLeast = 1 << 10;
  constexpr std::int64_t kMost = 1 << 24;
  benchmark->RangeMultiplier(4)->Range(kLeast, kMost);
}

inline std::size_t sizeOf(const benchmark::State& state) {
  return static_cast<std::size_t>(state.range(0));
}

/// Reports bytes per second, and seconds per byte as "perByte" ("1.2n" is 1.2 ns). `bytes` is the
/// size processed by one iteration.
inline void countBytes(benchmark::State& state, std::size_t bytes) {
  const auto all = state.iterations() * static_cast<std::int64_t>(bytes);
  state.SetBytesProcessed(all);
  state.counters["perByte"] = benchmark::Counter(
      static_cast<double>(all), benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

/// A tokenizer with empty handlers.
class IdleParser : public CARDCAL_Parser {
 public:
  int propHandler(const char*, const char**) override { return 1; }
  int dataHandler(const char*, int) override { return 1; }
  int groupHandler(const char*) override { return 1; }
};

/// Measures the tokenizer alone.
inline void tokenize(benchmark::State& state, const std::string& card) {
  const auto* const data = reinterpret_cast<const unsigned char*>(card.data());
  for (auto _ : state) {
    IdleParser parser;
    if (parser.parse(data, static_cast<int>(card.size())) != 1) state.SkipWithError("refused");
  }
  countBytes(state, card.size());
}

}  // namespace bench
