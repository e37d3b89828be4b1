#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>

/// Entry point of a target, called by libFuzzer or by Replay.cpp. Returns 0.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fuzz {

/// Aborts unless a condition of the target's contract holds.
inline void require(bool holds, const char* condition) {
  if (holds) return;
  std::fprintf(stderr, "\nCONTRACT VIOLATED: %s\n", condition);
  std::abort();
}

inline std::string_view textOf(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

/// Whether to make an expensive check for this input. Fuzzers select one input in `oneIn` by its
/// hash, replays select every input.
inline bool isSampled(std::string_view input, std::uint64_t oneIn) {
#ifdef FUZZ_SAMPLING
  std::uint64_t hash = 14695981039346656037U;
  for (const char c : input) hash = (hash ^ static_cast<std::uint8_t>(c)) * 1099511628211U;
  return hash % oneIn == 0;
#else
  return oneIn > 0 && input.data() != nullptr;
#endif
}

}  // namespace fuzz
