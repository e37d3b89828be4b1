#include "openobex/PacketGuard.h"

#include "openobex/openobex.h"

namespace openobex {
namespace {

constexpr int kFinal = 0x80;
constexpr std::size_t kSetPathHead = 5;
/// The protocol's minimum. With less than 3 the library's arithmetic underflows and it writes to
/// freed memory; with slightly more it sends empty packets for ever.
constexpr std::size_t kMinPacketSize = 255;
/// Lower codes are commands.
constexpr int kFirstResponse = 0x10;

std::size_t readLength(const std::uint8_t* bytes) {
  return static_cast<std::size_t>(bytes[0]) << 8 | bytes[1];
}

/// Commands of one packet; the library leaks memory for each further packet of a SETPATH. ABORT is
/// not listed because the library's own client sends it without the final bit.
bool isSinglePacket(int command) {
  return command == OBEX_CMD_CONNECT || command == OBEX_CMD_DISCONNECT ||
         command == OBEX_CMD_SETPATH || command == OBEX_CMD_SESSION;
}

std::size_t requestHead(int command) {
  if (command == OBEX_CMD_CONNECT) return PacketGuard::kConnectHead;
  if (command == OBEX_CMD_SETPATH) return kSetPathHead;
  return PacketGuard::kHeadSize;
}

bool isBody(std::uint8_t identifier) {
  return identifier == OBEX_HDR_BODY || identifier == OBEX_HDR_BODY_END;
}

/// The library looks at the low six bits only, and would treat these as body data that this guard
/// didn't count.
bool isMistakenForBody(std::uint8_t identifier) {
  const int number = identifier & ~OBEX_HDR_TYPE_MASK;
  const bool isNumberOfBody = number == (OBEX_HDR_BODY & ~OBEX_HDR_TYPE_MASK) ||
                              number == (OBEX_HDR_BODY_END & ~OBEX_HDR_TYPE_MASK);
  return isNumberOfBody && !isBody(identifier);
}

constexpr std::uint32_t kReplacement = 0xFFFD;

bool isHighSurrogate(std::uint32_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
bool isLowSurrogate(std::uint32_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

void append(std::string& text, std::uint32_t character) {
  if (character < 0x80) {
    text += static_cast<char>(character);
    return;
  }
  const int more = character < 0x800 ? 1 : character < 0x10000 ? 2 : 3;
  constexpr std::uint32_t kLead[] = {0, 0xC0, 0xE0, 0xF0};
  text += static_cast<char>(kLead[more] | character >> (6 * more));
  for (int i = more - 1; i >= 0; --i) {
    text += static_cast<char>(0x80 | (character >> (6 * i) & 0x3F));
  }
}

/// Converts big-endian UTF-16 of `length` bytes, up to a terminator if there is one. Unpaired
/// surrogates become U+FFFD; an odd last byte is ignored.
std::string unicodeToUtf8(const std::uint8_t* unicode, std::size_t length) {
  const std::size_t units = length / 2;
  const auto unitAt = [unicode](std::size_t i) {
    return static_cast<std::uint32_t>(unicode[2 * i]) << 8 | unicode[2 * i + 1];
  };
  std::string text;
  for (std::size_t i = 0; i < units; ++i) {
    const std::uint32_t unit = unitAt(i);
    if (unit == 0) break;
    if (isHighSurrogate(unit) && i + 1 < units && isLowSurrogate(unitAt(i + 1))) {
      append(text, 0x10000 + ((unit - 0xD800) << 10) + (unitAt(i + 1) - 0xDC00));
      ++i;
    } else {
      append(text, isHighSurrogate(unit) || isLowSurrogate(unit) ? kReplacement : unit);
    }
  }
  return text;
}

}  // namespace

std::size_t PacketGuard::packetLength(const std::uint8_t* head) {
  const std::size_t length = readLength(head + 1);
  return length < kHeadSize ? 0 : length;
}

std::size_t PacketGuard::headerHead(std::uint8_t identifier) {
  const int type = identifier & OBEX_HDR_TYPE_MASK;
  return type == OBEX_HDR_TYPE_UINT8 || type == OBEX_HDR_TYPE_UINT32 ? 1 : 3;
}

std::size_t PacketGuard::headerLength(const std::uint8_t* header) {
  switch (header[0] & OBEX_HDR_TYPE_MASK) {
    case OBEX_HDR_TYPE_UINT8:
      return 2;
    case OBEX_HDR_TYPE_UINT32:
      return 5;
    default:
      return readLength(header + 1);
  }
}

const char* PacketGuard::check(const std::uint8_t* packet, std::size_t length) {
  if (length < kHeadSize || packetLength(packet) != length) return "invalid packet length";
  return m_side == Side::kServer ? checkRequest(packet, length) : checkAnswer(packet, length);
}

const char* PacketGuard::sent(const std::uint8_t* packet, std::size_t length) {
  if (length < kHeadSize) return "the OBEX library wrote an invalid packet";
  const int code = packet[0] & ~kFinal;
  const bool final = (packet[0] & kFinal) != 0;
  if (m_side == Side::kServer) {
    // Any response but CONTINUE ends the request, complete or not.
    if (code != OBEX_RSP_CONTINUE) m_complete = true;
    return nullptr;
  }
  // The library can't split a header; when one doesn't fit it sends empty packets for ever.
  if (!final && length == kHeadSize && code == OBEX_CMD_PUT) {
    return "a header exceeds the peer's packet size";
  }
  if (m_complete || code != m_command) begin(code);
  m_complete = final;
  m_answerExpected = true;
  return nullptr;
}

void PacketGuard::begin(int command) {
  m_command = command;
  m_bodyEnded = false;
  m_packets = 0;
  m_headers = 0;
  m_headerBytes = 0;
  m_bodyBytes = 0;
  m_name.clear();
}

const char* PacketGuard::checkRequest(const std::uint8_t* packet, std::size_t length) {
  const int command = packet[0] & ~kFinal;
  const bool final = (packet[0] & kFinal) != 0;
  if (!final && isSinglePacket(command)) return "a single-packet request without the final bit";
  // The library refuses a request inside another and ends both.
  if (m_complete || command != m_command) begin(command);
  m_complete = final;
  if (++m_packets > kMaxPackets) return "too many packets in one request";
  const std::size_t head = requestHead(command);
  if (length < head) return "truncated request";
  return checkHeaders(packet + head, length - head);
}

const char* PacketGuard::checkAnswer(const std::uint8_t* packet, std::size_t length) {
  // With no request in flight the library would serve it as a request, or crash.
  if (!m_answerExpected) return "unexpected response";
  const int code = packet[0] & ~kFinal;
  if ((packet[0] & kFinal) == 0 || code < kFirstResponse) return "invalid response code";
  m_answerExpected = false;
  if (m_command != OBEX_CMD_CONNECT) {
    // The library would resend the last packet for ever.
    if (code == OBEX_RSP_CONTINUE && m_complete) return "CONTINUE after the last packet";
    return checkHeaders(packet + kHeadSize, length - kHeadSize);
  }
  if (length < kConnectHead) return "truncated CONNECT response";
  if (readLength(packet + 5) < kMinPacketSize) return "the peer's packet size is too small";
  return checkHeaders(packet + kConnectHead, length - kConnectHead);
}

const char* PacketGuard::checkHeaders(const std::uint8_t* headers, std::size_t length) {
  while (length > 0) {
    const std::uint8_t identifier = headers[0];
    const std::size_t head = headerHead(identifier);
    if (length < head) return "truncated header";
    const std::size_t size = headerLength(headers);
    if (size < head) return "header length too small";
    if (size > length) return "header exceeds its packet";
    if (const char* reason = countHeader(identifier, headers + head, size - head)) return reason;
    headers += size;
    length -= size;
  }
  return nullptr;
}

const char* PacketGuard::countHeader(std::uint8_t identifier, const std::uint8_t* value,
                                     std::size_t length) {
  if (isMistakenForBody(identifier)) return "body header of the wrong type";
  // Body chunks are bounded by their bytes, not their number.
  if (isBody(identifier) && length > 0) return countBody(identifier, length);
  if (identifier == OBEX_HDR_BODY_END) m_bodyEnded = true;
  if (++m_headers > kMaxHeaders) return "too many headers";
  m_headerBytes += length;
  if (m_headerBytes > kMaxHeaderBytes) return "headers too large";
  if (identifier == OBEX_HDR_NAME) m_name = unicodeToUtf8(value, length);
  return nullptr;
}

const char* PacketGuard::countBody(std::uint8_t identifier, std::size_t length) {
  // The library would drop these bytes.
  if (m_bodyEnded) return "body data after End-of-Body";
  m_bodyEnded = identifier == OBEX_HDR_BODY_END;
  m_bodyBytes += length;
  return m_bodyBytes > kMaxObjectSize ? "object too large" : nullptr;
}

}  // namespace openobex
