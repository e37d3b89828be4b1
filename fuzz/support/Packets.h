#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace fuzz {

// OBEX packets as this folder understands them, written without a look at the guard that it judges.

struct PacketHeader {
  std::uint8_t identifier;
  std::string_view value;
};

/// A packet that is whole and well formed. Points into the bytes it was read from.
struct Packet {
  std::uint8_t code;       ///< as it is on the wire
  std::string_view fixed;  ///< what CONNECT and SETPATH have before the headers
  std::vector<PacketHeader> headers;

  [[nodiscard]] bool isFinal() const { return (code & 0x80) != 0; }
  [[nodiscard]] int command() const { return code & 0x7F; }
};

inline constexpr int kConnect = 0x00;
inline constexpr int kDisconnect = 0x01;
inline constexpr int kPut = 0x02;
inline constexpr int kSetPath = 0x05;
inline constexpr std::uint8_t kBody = 0x48;
inline constexpr std::uint8_t kEndOfBody = 0x49;

/// How many bytes of the packet come before its headers, by the command of its request.
std::size_t bytesBeforeHeaders(int command);
/// The length that a packet announces; none while fewer than three bytes are there.
std::optional<std::size_t> announcedLength(std::string_view bytes);
/// Reads exactly one packet; none when its lengths don't add up.
std::optional<Packet> readPacket(std::string_view bytes, std::size_t beforeHeaders);
/// Cuts the first whole packet off `bytes`; none when there is none.
std::optional<std::string_view> cutPacket(std::string_view& bytes);

// For writing them.

std::string packet(int code, std::string_view payload = {});
std::string header(std::uint8_t identifier, std::string_view value);
std::string nameHeader(std::string_view name);

}  // namespace fuzz
