#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>

/// The one function of a target: libFuzzer calls it with made-up inputs, the replay program with
/// the files of the corpus. Returns 0.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fuzz {

/// Ends the process when something that a target promises doesn't hold. The sentence says what was
/// promised; the stack says where.
inline void require(bool holds, const char* promise) {
  if (holds) return;
  std::fprintf(stderr, "\nBROKEN PROMISE: %s\n", promise);
  std::abort();
}

inline std::string_view textOf(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

/// Whether a costly promise is looked at for this input. While fuzzing it is for one input in
/// `oneIn`, always the same ones; in the replay of the corpus for all.
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
