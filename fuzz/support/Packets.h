#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace fuzz {

// OBEX packets. Independent of the code under test.

struct PacketHeader {
  std::uint8_t identifier;
  std::string_view value;
};

/// A complete, well-formed packet. Refers to the bytes it was read from.
struct Packet {
  std::uint8_t code;       ///< with the final bit
  std::string_view fixed;  ///< fields of CONNECT and SETPATH before the headers
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

/// Offset of the headers in a packet of this command.
std::size_t bytesBeforeHeaders(int command);
/// The length field of a packet, if there are enough bytes.
std::optional<std::size_t> announcedLength(std::string_view bytes);
/// Reads exactly one packet; none if its length fields are inconsistent.
std::optional<Packet> readPacket(std::string_view bytes, std::size_t beforeHeaders);
/// Removes the first packet from `bytes`; none if it is incomplete.
std::optional<std::string_view> cutPacket(std::string_view& bytes);

// Writing.

std::string packet(int code, std::string_view payload = {});
std::string header(std::uint8_t identifier, std::string_view value);
std::string nameHeader(std::string_view name);

}  // namespace fuzz
