#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace openobex {

/// Judges every packet of a peer before the library sees it. The library trusts the lengths in
/// packets and headers, sets aside no more than it expects, and loops or writes past its buffers
/// where they lie; what passes here is well formed: the packet is whole, its headers add up to its
/// end, and the request it belongs to stays within the limits. What is merely against the protocol
/// (a request inside another, an unknown command) passes: the library answers it and stays whole.
///
/// Does no input or output, and keeps nothing of a packet but an object's name. Threads: one object
/// belongs to one thread.
class PacketGuard {
 public:
  static constexpr std::size_t kHeadSize = 3;
  /// What CONNECT and its answer have before their headers.
  static constexpr std::size_t kConnectHead = 7;
  static constexpr std::size_t kMaxSize = 65535;

  enum class Side {
    kServer,  ///< the peer sends requests
    kClient,  ///< the peer answers ours
  };

  explicit PacketGuard(Side side) : m_side(side) {}

  /// The length that a packet's first three bytes announce; 0 when it is none.
  static std::size_t packetLength(const std::uint8_t* head);

  /// How many bytes of a header come before its value.
  static std::size_t headerHead(std::uint8_t identifier);
  /// The length that a header's `headerHead` first bytes announce, those included.
  static std::size_t headerLength(const std::uint8_t* header);

  /// Judges one whole packet of the peer. Null when it may pass, otherwise the reason, for people.
  const char* check(const std::uint8_t* packet, std::size_t length);

  /// Takes note of one whole packet of ours: as a client, a request that the peer must answer; as a
  /// server, an answer, which may end the request. Null when it may go out, otherwise the reason.
  const char* sent(const std::uint8_t* packet, std::size_t length);

  /// As a client: what is sent next belongs to a new request.
  void beginRequest() { m_complete = true; }

  [[nodiscard]] Side side() const { return m_side; }
  /// The command of the request under way or just ended, without the final bit; -1 before the
  /// first.
  [[nodiscard]] int command() const { return m_command; }
  /// Whether more packets of it are to come, and no answer has ended it.
  [[nodiscard]] bool requestUnderWay() const { return !m_complete; }
  /// What was seen of the object so far: its name in UTF-8, and the bytes of its body.
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
