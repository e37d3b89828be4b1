#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace openobex {

/// Validates every packet from a peer before the library sees it. The library trusts the lengths in
/// packets and headers; false ones make it loop or write past its buffers. A packet that passes is
/// whole, its headers add up to its length, and its request is within the limits of openobex.h.
/// Mere protocol violations (a request inside another, an unknown command) pass: the library
/// answers them safely.
///
/// Does no I/O. Belongs to one link and its thread.
class PacketGuard {
 public:
  static constexpr std::size_t kHeadSize = 3;
  /// Bytes before the headers of CONNECT and its response.
  static constexpr std::size_t kConnectHead = 7;
  static constexpr std::size_t kMaxSize = 65535;

  enum class Side {
    kServer,  ///< the peer sends requests
    kClient,  ///< the peer answers ours
  };

  explicit PacketGuard(Side side) : m_side(side) {}

  /// The packet length in the first three bytes; 0 when invalid.
  static std::size_t packetLength(const std::uint8_t* head);

  /// Bytes of a header before its value.
  static std::size_t headerHead(std::uint8_t identifier);
  /// The total length of a header, from its first `headerHead` bytes.
  static std::size_t headerLength(const std::uint8_t* header);

  /// Checks one whole packet from the peer. Returns null when valid, otherwise the reason, a static
  /// text for status and journal ("truncated header").
  const char* check(const std::uint8_t* packet, std::size_t length);

  /// Checks one whole packet to the peer, a request (client) or a response (server). Returns as
  /// `check`.
  const char* sent(const std::uint8_t* packet, std::size_t length);

  /// Client: the next packet sent begins a new request.
  void beginRequest() { m_complete = true; }

  [[nodiscard]] Side side() const { return m_side; }
  /// Command of the current or last request, without the final bit; -1 before the first.
  [[nodiscard]] int command() const { return m_command; }
  /// Whether more packets of it are expected.
  [[nodiscard]] bool requestUnderWay() const { return !m_complete; }
  /// Name (UTF-8) and body bytes of the object received so far.
  [[nodiscard]] const std::string& objectName() const { return m_name; }
  [[nodiscard]] std::size_t bodySize() const { return m_bodyBytes; }

 private:
  void begin(int command);
  const char* checkRequest(const std::uint8_t* packet, std::size_t length);
  const char* checkAnswer(const std::uint8_t* packet, std::size_t length);
  const char* checkHeaders(const std::uint8_t* headers, std::size_t length);
  const char* countHeader(std::uint8_t identifier, const std::uint8_t* value, std::size_t length);
  const char* countBody(std::uint8_t identifier, std::size_t length);

  const Side m_side;
  int m_command = -1;
  bool m_complete = true;
  bool m_answerExpected = false;
  bool m_bodyEnded = false;
  std::uint32_t m_packets = 0;
  std::uint32_t m_headers = 0;
  std::size_t m_headerBytes = 0;
  std::size_t m_bodyBytes = 0;
  std::string m_name;
};

}  // namespace openobex
