#pragma once

#include <cstddef>
#include <string>

#include "openobex/openobex.h"

// OBEX packets as a peer sends them.

namespace openobex {

inline std::string number(std::size_t value) {
  return {static_cast<char>(value >> 8), static_cast<char>(value & 0xFF)};
}

inline std::string packet(int code, const std::string& payload = "") {
  return static_cast<char>(code) + number(payload.size() + 3) + payload;
}

inline std::string header(int identifier, const std::string& value) {
  return static_cast<char>(identifier) + number(value.size() + 3) + value;
}

inline std::string nameHeader(const std::string& name) {
  std::string value;
  for (const char c : name) value += std::string(1, '\0') + c;
  return header(OBEX_HDR_NAME, value + number(0));
}

inline const std::string kConnect = packet(0x80, std::string("\x10\0\xFF\xFF", 4));

}  // namespace openobex
