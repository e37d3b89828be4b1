#pragma once

#include <cstdint>

namespace openobex {

/// Whether a header that we send may have a value of this many bytes. A caller's negative result of
/// a conversion arrives here as a huge number, which the library would copy.
inline bool isPossibleHeaderLength(std::uint8_t identifier, std::uint32_t size) {
  constexpr std::uint32_t kMaxBodySize = 0x7FFFFFFF;
  // What a packet of the largest size can hold beside its own head and the header's.
  constexpr std::uint32_t kMaxValueSize = 65535 - 3 - 3;
  constexpr std::uint32_t kTerminatorSize = 2;
  switch (identifier) {
    case OBEX_HDR_BODY:
    case OBEX_HDR_BODY_END:
      return size <= kMaxBodySize;
    case OBEX_HDR_NAME:
      return size >= kTerminatorSize && size <= kMaxValueSize;
    default:
      return size <= kMaxValueSize;
  }
}

}  // namespace openobex
