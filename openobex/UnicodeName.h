#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace openobex {

/// Big-endian UTF-16 of so many bytes as UTF-8, up to its terminator if it has one. Halves of pairs
/// that stand alone become U+FFFD; an odd last byte is left out. Any thread.
std::string unicodeToUtf8(const std::uint8_t* unicode, std::size_t length);

}  // namespace openobex
