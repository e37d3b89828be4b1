// BASE64: encoding by the builder, and decoding of a property by the tokenizer, in a single line
// and folded at 76 characters.

#include <benchmark/benchmark.h>

#include "bench/parts/Sizes.h"
#include "bench/support/Cards.h"
#include "src/CARDCAL_Parser.h"
#include "src/CARD_Creator.h"

namespace {

class IdleParser : public CARDCAL_Parser {
 public:
  int propHandler(const char*, const char**) override { return 1; }
  int dataHandler(const char*, int) override { return 1; }
  int groupHandler(const char*) override { return 1; }
};

std::string encodedPicture(const benchmark::State& state) {
  const std::string bytes = bench::picture(1, bench::sizeOf(state));
  return CARD_Creator().base64Encode(bytes.data(), static_cast<int>(bytes.size()));
}

void decode(benchmark::State& state, const std::string& property) {
  const auto* const data = reinterpret_cast<const unsigned char*>(property.data());
  for (auto _ : state) {
    IdleParser parser;
    if (parser.parse(data, static_cast<int>(property.size())) != 1) state.SkipWithError("refused");
  }
  bench::countBytes(state, property.size());
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
  decode(state, "PHOTO;ENCODING=BASE64:" + encodedPicture(state) + "\r\n\r\n");
}

void decodeFolded(benchmark::State& state) {
  const std::string text = encodedPicture(state);
  std::string property = "PHOTO;ENCODING=BASE64:\r\n";
  for (std::size_t at = 0; at < text.size(); at += 75) {
    property.append(" ").append(text, at, 75).append("\r\n");
  }
  decode(state, property + "\r\n");
}

BENCHMARK(encode)->Apply(bench::allSizes);
BENCHMARK(decodeLine)->Apply(bench::allSizes);
BENCHMARK(decodeFolded)->Apply(bench::allSizes);

}  // namespace
