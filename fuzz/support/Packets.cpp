#include "fuzz/support/Packets.h"

namespace fuzz {

namespace {

constexpr std::size_t kHead = 3;

std::size_t numberAt(std::string_view bytes, std::size_t place) {
  return static_cast<std::size_t>(static_cast<std::uint8_t>(bytes[place])) * 256 +
         static_cast<std::uint8_t>(bytes[place + 1]);
}

std::string number(std::size_t value) {
  return {static_cast<char>(value >> 8), static_cast<char>(value & 0xFF)};
}

/// Size of a header, and of its part before the value.
struct Extent {
  std::size_t whole;
  std::size_t head;
};

std::optional<Extent> extentOf(std::string_view headers) {
  const auto kind = static_cast<std::uint8_t>(headers[0]) >> 6;
  if (kind == 2) return Extent{2, 1};
  if (kind == 3) return Extent{5, 1};
  if (headers.size() < kHead) return std::nullopt;
  return Extent{numberAt(headers, 1), kHead};
}

}  // namespace

std::size_t bytesBeforeHeaders(int command) {
  if (command == kConnect) return kHead + 4;
  return command == kSetPath ? kHead + 2 : kHead;
}

std::optional<std::size_t> announcedLength(std::string_view bytes) {
  if (bytes.size() < kHead) return std::nullopt;
  return numberAt(bytes, 1);
}

std::optional<Packet> readPacket(std::string_view bytes, std::size_t beforeHeaders) {
  if (announcedLength(bytes) != bytes.size() || bytes.size() < beforeHeaders) return std::nullopt;
  Packet packet{
      static_cast<std::uint8_t>(bytes[0]), bytes.substr(kHead, beforeHeaders - kHead), {}};
  std::string_view rest = bytes.substr(beforeHeaders);
  while (!rest.empty()) {
    const std::optional<Extent> extent = extentOf(rest);
    if (!extent || extent->whole < extent->head || extent->whole > rest.size()) return std::nullopt;
    packet.headers.push_back({static_cast<std::uint8_t>(rest[0]),
                              rest.substr(extent->head, extent->whole - extent->head)});
    rest.remove_prefix(extent->whole);
  }
  return packet;
}

std::optional<std::string_view> cutPacket(std::string_view& bytes) {
  const std::optional<std::size_t> length = announcedLength(bytes);
  if (!length || *length < kHead || *length > bytes.size()) return std::nullopt;
  const std::string_view whole = bytes.substr(0, *length);
  bytes.remove_prefix(*length);
  return whole;
}

std::string packet(int code, std::string_view payload) {
  return static_cast<char>(code) + number(payload.size() + kHead) + std::string(payload);
}

std::string header(std::uint8_t identifier, std::string_view value) {
  return static_cast<char>(identifier) + number(value.size() + kHead) + std::string(value);
}

std::string nameHeader(std::string_view name) {
  std::string unicode;
  for (const char c : name) unicode += std::string(1, '\0') + c;
  return header(0x01, unicode + number(0));
}

}  // namespace fuzz
