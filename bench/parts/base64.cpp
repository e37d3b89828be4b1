// BASE64: encoding by the builder, and decoding of a property by the tokenizer, in a single line
// and folded at 76 characters.

#include <benchmark/benchmark.h>

#include "bench/parts/Parts.h"
#include "bench/support/Cards.h"
#include "src/CARD_Creator.h"

namespace {

std::string encodedPicture(const benchmark::State& state) {
  const std::string bytes = bench::picture(1, bench::sizeOf(state));
  return CARD_Creator().base64Encode(bytes.data(), static_cast<int>(bytes.size()));
}

void encode(benchmark::State& state) {
  const std::string bytes = bench::picture(1, bench::sizeOf(state));
  CARD_Creator creator;
  for (auto _ : state) {
    const std::string text = creator.base64Encode(bytes.data(), static_cast<int>(bytes.size()));
    benchmark::DoNotOptimize(text.data());
  }
  bench::countBytes(state, bytes.size());
}

void decodeLine(benchmark::State& state) {
  bench::tokenize(state, "PHOTO;ENCODING=BASE64:" + encodedPicture(state) + "\r\n\r\n");
}

void decodeFolded(benchmark::State& state) {
  const std::string text = encodedPicture(state);
  std::string property = "PHOTO;ENCODING=BASE64:\r\n";
  for (std::size_t at = 0; at < text.size(); at += 75) {
    property.append(" ").append(text, at, 75).append("\r\n");
  }
  bench::tokenize(state, property + "\r\n");
}

BENCHMARK(encode)->Apply(bench::allSizes);
BENCHMARK(decodeLine)->Apply(bench::allSizes);
BENCHMARK(decodeFolded)->Apply(bench::allSizes);

}  // namespace
