#include "openobex/PacketGuard.h"

#include "openobex/openobex.h"

namespace openobex {
namespace {

constexpr int kFinal = 0x80;
constexpr std::size_t kConnectHead = 7;
constexpr std::size_t kSetPathHead = 5;
/// No peer may take packets smaller than this; the library would divide a request into nothing.
constexpr std::size_t kMinPacketSize = 255;

std::size_t readLength(const std::uint8_t* bytes) {
  return static_cast<std::size_t>(bytes[0]) << 8 | bytes[1];
}

/// Commands that are one packet each.
bool isSinglePacket(int command) {
  return command == OBEX_CMD_CONNECT || command == OBEX_CMD_DISCONNECT ||
         command == OBEX_CMD_SETPATH || command == OBEX_CMD_SESSION || command == OBEX_CMD_ABORT;
}

std::size_t requestHead(int command) {
  if (command == OBEX_CMD_CONNECT) return kConnectHead;
  if (command == OBEX_CMD_SETPATH) return kSetPathHead;
  return PacketGuard::kHeadSize;
}

/// Big-endian UTF-16 as UTF-8, up to its terminator. Halves of pairs that stand alone become
/// U+FFFD.
std::string toUtf8(const std::uint8_t* unicode, std::size_t length) {
  std::string text;
  const auto append = [&text](unsigned c) {
    if (c < 0x80) {
      text += static_cast<char>(c);
      return;
    }
    const int more = c < 0x800 ? 1 : c < 0x10000 ? 2 : 3;
    constexpr unsigned kLead[] = {0, 0xC0, 0xE0, 0xF0};
    text += static_cast<char>(kLead[more] | c >> (6 * more));
    for (int i = more - 1; i >= 0; --i) text += static_cast<char>(0x80 | (c >> (6 * i) & 0x3F));
  };
  for (std::size_t i = 0; i + 1 < length; i += 2) {
    const auto unit = static_cast<unsigned>(readLength(unicode + i));
    if (unit == 0) break;
    const bool high = unit >= 0xD800 && unit <= 0xDBFF;
    const auto next = i + 3 < length ? static_cast<unsigned>(readLength(unicode + i + 2)) : 0U;
    if (high && next >= 0xDC00 && next <= 0xDFFF) {
      append(0x10000 + ((unit - 0xD800) << 10) + (next - 0xDC00));
      i += 2;
    } else {
      append(unit >= 0xD800 && unit <= 0xDFFF ? 0xFFFD : unit);
    }
  }
  return text;
}

}  // namespace

std::size_t PacketGuard::packetLength(const std::uint8_t* head) {
  const std::size_t length = readLength(head + 1);
  return length < kHeadSize ? 0 : length;
}

const char* PacketGuard::check(const std::uint8_t* packet, std::size_t length) {
  if (length < kHeadSize || packetLength(packet) != length) return "a packet of a wrong length";
  return m_side == Side::kServer ? checkRequest(packet, length) : checkAnswer(packet, length);
}

void PacketGuard::sent(const std::uint8_t* packet, std::size_t length) {
  if (m_side != Side::kClient || length == 0) return;
  m_command = packet[0] & ~kFinal;
  m_answerExpected = true;
  m_headers = 0;
  m_body = 0;
}

const char* PacketGuard::checkRequest(const std::uint8_t* packet, std::size_t length) {
  const int command = packet[0] & ~kFinal;
  const bool final = (packet[0] & kFinal) != 0;
  if (!final && isSinglePacket(command)) return "a request that should be one packet goes on";
  if (m_complete || command == OBEX_CMD_ABORT) {
    m_command = command;
    m_headers = 0;
    m_body = 0;
    m_packets = 0;
    m_name.clear();
  } else if (command != m_command) {
    return "a request begins inside another";
  }
  if (++m_packets > kMaxPackets) return "a request without an end";
  m_complete = final;
  const std::size_t head = requestHead(command);
  if (length < head) return "a request that is too short";
  if (command == OBEX_CMD_CONNECT) {
    if (const char* reason = checkConnect(packet, length)) return reason;
  }
  return checkHeaders(packet + head, length - head);
}

const char* PacketGuard::checkAnswer(const std::uint8_t* packet, std::size_t length) {
  if (!m_answerExpected) return "an answer to nothing";
  if ((packet[0] & kFinal) == 0) return "an answer without its final bit";
  m_answerExpected = false;
  std::size_t head = kHeadSize;
  if (m_command == OBEX_CMD_CONNECT) {
    head = kConnectHead;
    if (length < head) return "an answer to CONNECT that is too short";
    if (const char* reason = checkConnect(packet, length)) return reason;
  }
  return checkHeaders(packet + head, length - head);
}

const char* PacketGuard::checkConnect(const std::uint8_t* packet, std::size_t length) {
  static_cast<void>(length);
  return readLength(packet + 5) < kMinPacketSize ? "packets that would be too small" : nullptr;
}

const char* PacketGuard::checkHeaders(const std::uint8_t* headers, std::size_t length) {
  while (length > 0) {
    const std::uint8_t identifier = headers[0];
    std::size_t size = 0;
    std::size_t head = 1;
    switch (identifier & OBEX_HDR_TYPE_MASK) {
      case OBEX_HDR_TYPE_UINT8:
        size = 2;
        break;
      case OBEX_HDR_TYPE_UINT32:
        size = 5;
        break;
      default:
        head = 3;
        if (length < head) return "a header that is cut off";
        size = readLength(headers + 1);
        if (size < head) return "a header that is shorter than its own head";
        break;
    }
    if (size > length) return "a header that is longer than its packet";
    if (const char* reason = countHeader(identifier, headers + head, size - head)) return reason;
    headers += size;
    length -= size;
  }
  return nullptr;
}

const char* PacketGuard::countHeader(std::uint8_t identifier, const std::uint8_t* value,
                                     std::size_t length) {
  const bool isBody = identifier == OBEX_HDR_BODY || identifier == OBEX_HDR_BODY_END;
  // A large object comes in as many pieces as its packets are small; its size is what bounds them.
  if (isBody && length > 0) {
    m_body += static_cast<std::uint32_t>(length);
    return m_body > kMaxObjectSize ? "an object that is too large" : nullptr;
  }
  if (identifier == OBEX_HDR_NAME) m_name = toUtf8(value, length);
  return ++m_headers > kMaxHeaders ? "too many headers" : nullptr;
}

}  // namespace openobex
