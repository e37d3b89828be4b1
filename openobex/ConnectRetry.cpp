#include "openobex/ConnectRetry.h"

#include <utility>

#include "openobex/PacketGuard.h"
#include "openobex/openobex.h"

namespace openobex {
namespace {

constexpr int kFinal = 0x80;

/// The same CONNECT with every header but Who; empty when it has no Who, or isn't well formed.
std::vector<std::uint8_t> withoutWho(const std::uint8_t* packet, std::size_t length) {
  if (length < PacketGuard::kConnectHead) return {};
  std::vector<std::uint8_t> result(packet, packet + PacketGuard::kConnectHead);
  for (std::size_t place = PacketGuard::kConnectHead; place < length;) {
    const std::uint8_t* const header = packet + place;
    const std::size_t head = PacketGuard::headerHead(*header);
    if (length - place < head) return {};
    const std::size_t size = PacketGuard::headerLength(header);
    if (size < head || size > length - place) return {};
    if (*header != OBEX_HDR_WHO) result.insert(result.end(), header, header + size);
    place += size;
  }
  if (result.size() == length) return {};
  result[1] = static_cast<std::uint8_t>(result.size() >> 8);
  result[2] = static_cast<std::uint8_t>(result.size() & 0xFF);
  return result;
}

}  // namespace

void ConnectRetry::sent(const std::uint8_t* packet, std::size_t length) {
  const bool begins = !std::exchange(m_goesOn, (packet[0] & kFinal) == 0);
  m_second.clear();
  // A CONNECT of several packets would have to be sent again from its first, which is gone.
  if (m_used || !begins || packet[0] != (OBEX_CMD_CONNECT | kFinal)) return;
  m_second = withoutWho(packet, length);
}

std::vector<std::uint8_t> ConnectRetry::answered(int code) {
  std::vector<std::uint8_t> second = std::exchange(m_second, {});
  if (second.empty() || code != OBEX_RSP_FORBIDDEN) return {};
  m_used = true;
  return second;
}

}  // namespace openobex
