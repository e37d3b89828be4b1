#include "openobex/GuardedLink.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

#include "framework/RadioLinkIfc.h"

namespace openobex {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr int kFinal = 0x80;
/// The pair must hold the largest packet, because the library blocks for ever when it can't write.
/// Larger than the packet since the kernel counts its own overhead.
constexpr int kPairBuffer = 1 << 18;

bool isAgain(int error) { return error == EAGAIN || error == EWOULDBLOCK || error == EINTR; }

/// Makes a non-blocking pair that holds a whole packet.
bool makePair(int (&pair)[2]) {
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, pair) != 0) return false;
  for (const int end : pair) {
    int size = kPairBuffer;
    setsockopt(end, SOL_SOCKET, SO_SNDBUF, &size, sizeof size);
    socklen_t length = sizeof size;
    const bool known = getsockopt(end, SOL_SOCKET, SO_SNDBUF, &size, &length) == 0;
    if (known && size >= 2 * static_cast<int>(PacketGuard::kMaxSize)) continue;
    ::close(pair[0]);
    ::close(pair[1]);
    return false;
  }
  return true;
}

/// How long a peer may take to send or to read one packet.
milliseconds packetTime(std::size_t length) {
  return seconds(kMaxPacketSeconds) + milliseconds(length * 1000 / kMinBytesPerSecond);
}

bool hostWantsSecondConnect() {
  RadioLinkAccess link;
  return link && link->linkForbidden();
}

/// The CONNECT without its Who headers; empty when it has none or is malformed.
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
  // A CONNECT of several packets would have to be repeated from the first, which isn't kept.
  if (m_used || !begins || packet[0] != (OBEX_CMD_CONNECT | kFinal)) return;
  m_second = withoutWho(packet, length);
}

std::vector<std::uint8_t> ConnectRetry::answered(int code) {
  std::vector<std::uint8_t> second = std::exchange(m_second, {});
  if (second.empty() || code != OBEX_RSP_FORBIDDEN) return {};
  m_used = true;
  return second;
}

GuardedLink::~GuardedLink() {
  if (m_radio >= 0) ::close(m_radio);
  if (m_pair >= 0) ::close(m_pair);
}

bool GuardedLink::open(int libraryDescriptor) {
  int pair[2];
  m_radio = fcntl(libraryDescriptor, F_DUPFD_CLOEXEC, 0);
  if (m_radio < 0 || !makePair(pair)) return false;
  m_pair = pair[0];
  const bool replaced = dup3(pair[1], libraryDescriptor, O_CLOEXEC) >= 0;
  ::close(pair[1]);
  if (!replaced) return false;
  m_library = libraryDescriptor;
  m_lastByte = m_now();
  return true;
}

GuardedLink::Result GuardedLink::close(const char* reason) {
  m_reason = reason;
  return Result::kClosed;
}

bool GuardedLink::fail(const char* reason) {
  m_reason = reason;
  return false;
}

/// Polls the radio. `packetLength` is that of the packet in progress, 0 for none. Returns `kReady`
/// on a socket error too; the read or write that follows reports it.
GuardedLink::Wait GuardedLink::waitFor(short events, Clock::time_point deadline,
                                       std::size_t packetLength) const {
  Clock::time_point idleEnd = Clock::time_point::max();
  Clock::time_point packetEnd = Clock::time_point::max();
  if (m_guard.side() == PacketGuard::Side::kServer) {
    idleEnd = m_lastByte + seconds(kMaxIdleSeconds);
    if (packetLength > 0) packetEnd = m_packetBegan + packetTime(packetLength);
  }
  for (;;) {
    // Checked before poll, so that a peer whose next byte is always there can't evade the limits.
    const Clock::time_point now = m_now();
    if (now >= idleEnd) return Wait::kIdle;
    if (now >= packetEnd) return Wait::kSlow;
    if (now >= deadline) return Wait::kTimeOut;
    const auto rest =
        std::chrono::ceil<milliseconds>(std::min({deadline, idleEnd, packetEnd}) - now);
    pollfd waiting{m_radio, events, 0};
    const int result = poll(&waiting, 1, static_cast<int>(rest.count()));
    if (result > 0 || (result < 0 && errno != EINTR)) return Wait::kReady;
  }
}

GuardedLink::Result GuardedLink::receive(milliseconds timeout) {
  const auto deadline = m_now() + timeout;
  const Result flushed = flush(deadline);
  return flushed == Result::kPacket ? receivePacket(deadline) : flushed;
}

/// Returns `kPacket` when all output is sent.
GuardedLink::Result GuardedLink::flush(Clock::time_point deadline) {
  while (!m_output.empty()) {
    if (!sendNow()) return Result::kClosed;
    if (m_output.empty()) break;
    switch (waitFor(POLLOUT, deadline, m_output.size())) {
      case Wait::kTimeOut:
        return Result::kTimeOut;
      case Wait::kIdle:
      case Wait::kSlow:
        return close("the peer did not read the response");
      case Wait::kReady:
        break;
    }
  }
  return Result::kPacket;
}

GuardedLink::Result GuardedLink::receivePacket(Clock::time_point deadline) {
  for (;;) {
    std::size_t wanted = PacketGuard::kHeadSize;
    if (m_filled >= PacketGuard::kHeadSize) {
      wanted = PacketGuard::packetLength(m_packet.data());
      if (wanted == 0) return close("invalid packet length");
      if (m_filled == wanted) return judge();
    }
    bool ended = false;
    if (readMore(wanted, ended)) continue;
    // Either end of file or ECONNRESET, depending on the radio.
    if (ended) return close("closed by the peer");
    switch (waitFor(POLLIN, deadline, m_filled == 0 ? 0 : wanted)) {
      case Wait::kTimeOut:
        return Result::kTimeOut;
      case Wait::kIdle:
        return close("the peer was idle for too long");
      case Wait::kSlow:
        return close("the peer took too long to send a packet");
      case Wait::kReady:
        break;
    }
  }
}

/// Reads without blocking until the packet has `wanted` bytes. False when there is nothing to read:
/// for now, or for ever (`ended`).
bool GuardedLink::readMore(std::size_t wanted, bool& ended) {
  if (m_packet.size() < wanted) m_packet.resize(wanted);
  const ssize_t got = recv(m_radio, m_packet.data() + m_filled, wanted - m_filled, MSG_DONTWAIT);
  if (got > 0) {
    m_lastByte = m_now();
    if (m_filled == 0) m_packetBegan = m_lastByte;
    m_filled += static_cast<std::size_t>(got);
    return true;
  }
  ended = got == 0 || !isAgain(errno);
  return false;
}

GuardedLink::Result GuardedLink::judge() {
  m_packet.resize(m_filled);
  m_filled = 0;
  completeRefusedConnect();
  if (const char* reason = m_guard.check(m_packet.data(), m_packet.size())) return close(reason);
  m_received = m_packet[0] & ~kFinal;
  m_sent = -1;
  return m_guard.side() == PacketGuard::Side::kClient ? repeatConnect() : Result::kPacket;
}

/// Returns `kPacket` when there is nothing to repeat. `m_output` is free: `receive` flushes it
/// before it reads.
GuardedLink::Result GuardedLink::repeatConnect() {
  m_output = m_retry.answered(m_received);
  if (m_output.empty() || !hostWantsSecondConnect()) {
    m_output.clear();
    return Result::kPacket;
  }
  return judgeOutput() && sendNow() ? Result::kRepeated : Result::kClosed;
}

/// A peer that refuses CONNECT may omit the fields of the response or zero them. The library reads
/// them anyway and adopts the packet size: replaces them by the protocol's default, 255.
void GuardedLink::completeRefusedConnect() {
  if (m_guard.side() != PacketGuard::Side::kClient || m_guard.command() != OBEX_CMD_CONNECT) return;
  if ((m_packet[0] & ~kFinal) == OBEX_RSP_SUCCESS) return;
  m_packet = {m_packet[0], 0x00, 0x07, 0x10, 0x00, 0x00, 0xFF};
}

bool GuardedLink::handOver() {
  std::size_t done = 0;
  while (done < m_packet.size()) {
    const ssize_t sent = send(m_pair, m_packet.data() + done, m_packet.size() - done, MSG_NOSIGNAL);
    if (sent < 0 && errno == EINTR) continue;
    if (sent <= 0) return fail("could not pass a packet to the OBEX library");
    done += static_cast<std::size_t>(sent);
  }
  return true;
}

bool GuardedLink::hasUnreadInput() const {
  int unread = 0;
  return ioctl(m_library, FIONREAD, &unread) == 0 && unread > 0;
}

bool GuardedLink::carryAnswers() {
  // Don't charge the peer for time spent in callbacks.
  m_lastByte = m_packetBegan = m_now();
  std::array<std::uint8_t, PacketGuard::kMaxSize + 1> buffer;
  for (;;) {
    const ssize_t got = recv(m_pair, buffer.data(), buffer.size(), MSG_DONTWAIT);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;
    m_output.insert(m_output.end(), buffer.begin(), buffer.begin() + got);
  }
  return judgeOutput() && sendNow();
}

/// Checks the packets that the library wrote.
bool GuardedLink::judgeOutput() {
  while (m_output.size() - m_judged >= PacketGuard::kHeadSize) {
    std::uint8_t* const packet = m_output.data() + m_judged;
    const std::size_t length = PacketGuard::packetLength(packet);
    if (length == 0 || length > m_output.size() - m_judged) {
      return fail("the OBEX library wrote an invalid packet");
    }
    // The library omits the final bit, which ABORT must have.
    if (packet[0] == OBEX_CMD_ABORT) packet[0] |= kFinal;
    if (const char* reason = m_guard.sent(packet, length)) return fail(reason);
    if (m_guard.side() == PacketGuard::Side::kClient) m_retry.sent(packet, length);
    m_sent = packet[0] & ~kFinal;
    m_judged += length;
  }
  return m_judged == m_output.size() || fail("the OBEX library wrote an invalid packet");
}

bool GuardedLink::sendNow() {
  std::size_t done = 0;
  while (done < m_judged) {
    const ssize_t sent =
        send(m_radio, m_output.data() + done, m_judged - done, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent < 0 && errno == EINTR) continue;
    if (sent < 0 && isAgain(errno)) break;
    if (sent <= 0) return fail("closed by the peer");
    m_lastByte = m_now();
    done += static_cast<std::size_t>(sent);
  }
  m_output.erase(m_output.begin(), m_output.begin() + static_cast<std::ptrdiff_t>(done));
  m_judged -= done;
  return true;
}

}  // namespace openobex
