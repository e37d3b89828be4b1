#pragma once

#include <endian.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

// BASE64 by its quartets: four characters of the alphabet are 24 bits, three bytes.
namespace base64 {

inline constexpr unsigned char kInvalidOrd = 255;
inline constexpr std::uint32_t kInvalidQuartet = 1U << 31;

/// The value of each character of the BASE64 alphabet.
inline constexpr std::array<unsigned char, 256> kOrds = [] {
  constexpr const char* kAlphabet =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::array<unsigned char, 256> ords{};
  ords.fill(kInvalidOrd);
  for (unsigned char i = 0; i < 64; ++i) ords[static_cast<unsigned char>(kAlphabet[i])] = i;
  return ords;
}();

/// What a character adds to the 24 bits of its quartet at each of the four places.
using QuartetPlace = std::array<std::uint32_t, 256>;
inline constexpr std::array<QuartetPlace, 4> kQuartet = [] {
  std::array<QuartetPlace, 4> places{};
  for (std::size_t place = 0; place < 4; ++place) {
    for (std::size_t c = 0; c < 256; ++c) {
      const std::uint32_t ord = kOrds[c];
      places[place][c] = ord == kInvalidOrd ? kInvalidQuartet : ord << (18 - 6 * place);
    }
  }
  return places;
}();

/// The 24 bits of a quartet of the alphabet; anything else has the bit `kInvalidQuartet`.
inline std::uint32_t quartetBits(const char* in) {
  const auto* c = reinterpret_cast<const unsigned char*>(in);
  return kQuartet[0][c[0]] | kQuartet[1][c[1]] | kQuartet[2][c[2]] | kQuartet[3][c[3]];
}

/// Writes the bytes of one quartet, or of two, which are 24 bits each. There must be room for
/// `kQuartetRoom` bytes, as some are written that don't count.
inline constexpr int kQuartetRoom = 8;

inline char* putQuartet(char* out, std::uint32_t bits) {
  const std::uint32_t bytes = htobe32(bits << 8);
  std::memcpy(out, &bytes, sizeof bytes);
  return out + 3;
}

inline char* putQuartets(char* out, std::uint32_t first, std::uint32_t second) {
  const std::uint64_t bytes = htobe64((std::uint64_t{first} << 24 | second) << 16);
  std::memcpy(out, &bytes, sizeof bytes);
  return out + 6;
}

}  // namespace base64
