#include "openobex/PacketGuard.h"

#include "openobex/openobex.h"

namespace openobex {
namespace {

constexpr int kFinal = 0x80;
constexpr std::size_t kSetPathHead = 5;
/// The least that any peer must take. Told less than three bytes, the library counts below zero and
/// writes into memory that it has freed; told little more, it sends empty packets for ever.
constexpr std::size_t kMinPacketSize = 255;
/// Codes below are commands, not answers.
constexpr int kFirstAnswer = 0x10;

std::size_t readLength(const std::uint8_t* bytes) {
  return static_cast<std::size_t>(bytes[0]) << 8 | bytes[1];
}

/// Commands that are one packet each. The library loses memory with every further packet of a
/// SETPATH. Its own client sends ABORT without the final bit, which is let pass.
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

/// The library goes by the six low bits alone: it would take a header of another type for a body,
/// which nobody has counted.
bool isMistakenForBody(std::uint8_t identifier) {
  const int number = identifier & ~OBEX_HDR_TYPE_MASK;
  const bool isNumberOfBody = number == (OBEX_HDR_BODY & ~OBEX_HDR_TYPE_MASK) ||
                              number == (OBEX_HDR_BODY_END & ~OBEX_HDR_TYPE_MASK);
  return isNumberOfBody && !isBody(identifier);
}

constexpr std::uint32_t kReplacement = 0xFFFD;

bool isHighHalf(std::uint32_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
bool isLowHalf(std::uint32_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

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

/// Big-endian UTF-16 of so many bytes as UTF-8, up to its terminator if it has one. Halves of pairs
/// that stand alone become U+FFFD; an odd last byte is left out.
std::string unicodeToUtf8(const std::uint8_t* unicode, std::size_t length) {
  const std::size_t units = length / 2;
  const auto unitAt = [unicode](std::size_t i) {
    return static_cast<std::uint32_t>(unicode[2 * i]) << 8 | unicode[2 * i + 1];
  };
  std::string text;
  for (std::size_t i = 0; i < units; ++i) {
    const std::uint32_t unit = unitAt(i);
    if (unit == 0) break;
    if (isHighHalf(unit) && i + 1 < units && isLowHalf(unitAt(i + 1))) {
      append(text, 0x10000 + ((unit - 0xD800) << 10) + (unitAt(i + 1) - 0xDC00));
      ++i;
    } else {
      append(text, isHighHalf(unit) || isLowHalf(unit) ? kReplacement : unit);
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
  if (length < kHeadSize || packetLength(packet) != length) return "a packet of a wrong length";
  return m_side == Side::kServer ? checkRequest(packet, length) : checkAnswer(packet, length);
}

const char* PacketGuard::sent(const std::uint8_t* packet, std::size_t length) {
  if (length < kHeadSize) return "a packet of our own that is too short";
  const int code = packet[0] & ~kFinal;
  const bool final = (packet[0] & kFinal) != 0;
  if (m_side == Side::kServer) {
    // Any other answer ends the request, whether or not its last packet had come.
    if (code != OBEX_RSP_CONTINUE) m_complete = true;
    return nullptr;
  }
  // The library can't divide a header and sends empty packets for ever where one doesn't fit.
  if (!final && length == kHeadSize && code == OBEX_CMD_PUT) {
    return "a header that is too large for the peer's packets";
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
  if (!final && isSinglePacket(command)) return "a request that should be one packet goes on";
  // A request inside another ends both: the library refuses it.
  if (m_complete || command != m_command) begin(command);
  m_complete = final;
  if (++m_packets > kMaxPackets) return "a request without an end";
  const std::size_t head = requestHead(command);
  if (length < head) return "a request that is too short";
  return checkHeaders(packet + head, length - head);
}

const char* PacketGuard::checkAnswer(const std::uint8_t* packet, std::size_t length) {
  // Without a request in flight the library would take it for a request and serve it, or crash.
  if (!m_answerExpected) return "an answer to nothing";
  const int code = packet[0] & ~kFinal;
  if ((packet[0] & kFinal) == 0 || code < kFirstAnswer) return "an answer that is none";
  m_answerExpected = false;
  if (m_command != OBEX_CMD_CONNECT) {
    // The library would send the last packet again, for ever.
    if (code == OBEX_RSP_CONTINUE && m_complete)
      return "an answer that asks for more than there is";
    return checkHeaders(packet + kHeadSize, length - kHeadSize);
  }
  if (length < kConnectHead) return "an answer to CONNECT that is too short";
  if (readLength(packet + 5) < kMinPacketSize) return "a peer whose packets would be too small";
  return checkHeaders(packet + kConnectHead, length - kConnectHead);
}

const char* PacketGuard::checkHeaders(const std::uint8_t* headers, std::size_t length) {
  while (length > 0) {
    const std::uint8_t identifier = headers[0];
    const std::size_t head = headerHead(identifier);
    if (length < head) return "a header that is cut off";
    const std::size_t size = headerLength(headers);
    if (size < head) return "a header that is shorter than its own head";
    if (size > length) return "a header that is longer than its packet";
    if (const char* reason = countHeader(identifier, headers + head, size - head)) return reason;
    headers += size;
    length -= size;
  }
  return nullptr;
}

const char* PacketGuard::countHeader(std::uint8_t identifier, const std::uint8_t* value,
                                     std::size_t length) {
  if (isMistakenForBody(identifier)) return "a body of the wrong type";
  // The pieces of a body are as many as its packets; their bytes are what bounds them.
  if (isBody(identifier) && length > 0) return countBody(identifier, length);
  if (identifier == OBEX_HDR_BODY_END) m_bodyEnded = true;
  if (++m_headers > kMaxHeaders) return "too many headers";
  m_headerBytes += length;
  if (m_headerBytes > kMaxHeaderBytes) return "headers that are too large";
  if (identifier == OBEX_HDR_NAME) m_name = unicodeToUtf8(value, length);
  return nullptr;
}

const char* PacketGuard::countBody(std::uint8_t identifier, std::size_t length) {
  // The library would lose these bytes.
  if (m_bodyEnded) return "a body that goes on after its end";
  m_bodyEnded = identifier == OBEX_HDR_BODY_END;
  m_bodyBytes += length;
  return m_bodyBytes > kMaxObjectSize ? "an object that is too large" : nullptr;
}

}  // namespace openobex
