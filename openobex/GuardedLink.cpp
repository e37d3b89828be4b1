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

constexpr int kFinal = 0x80;
/// The pair must take the largest packet at once: the library waits without end for room to write.
/// The kernel counts its own overhead, so this is more than the packet.
constexpr int kPairBuffer = 1 << 18;

bool isAgain(int error) { return error == EAGAIN || error == EWOULDBLOCK || error == EINTR; }

/// A pair without blocking that takes a whole packet at once; false when the system has none.
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

bool hostWantsSecondConnect() {
  RadioLinkAccess link;
  return link && link->linkForbidden();
}

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
  m_idleSince = Clock::now();
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

/// Waits for the radio. A signal doesn't end the wait, and an error of the socket does: reading or
/// writing tells which it is.
GuardedLink::Wait GuardedLink::waitFor(short events, Clock::time_point deadline) const {
  const bool server = m_guard.side() == PacketGuard::Side::kServer;
  const Clock::time_point idleEnd = m_idleSince + m_idleLimit;
  const Clock::time_point end = server ? std::min(deadline, idleEnd) : deadline;
  for (;;) {
    const auto now = Clock::now();
    const auto rest = std::max(std::chrono::ceil<milliseconds>(end - now), milliseconds(0));
    pollfd waiting{m_radio, events, 0};
    const int result = poll(&waiting, 1, static_cast<int>(rest.count()));
    if (result > 0 || (result < 0 && errno != EINTR)) return Wait::kReady;
    if (server && Clock::now() >= idleEnd) return Wait::kIdle;
    if (Clock::now() >= deadline) return Wait::kTimeOut;
  }
}

GuardedLink::Result GuardedLink::receive(milliseconds timeout) {
  const auto deadline = Clock::now() + timeout;
  const Result flushed = flush(deadline);
  return flushed == Result::kPacket ? receivePacket(deadline) : flushed;
}

/// Sends what is left of the output; `kPacket` when nothing is.
GuardedLink::Result GuardedLink::flush(Clock::time_point deadline) {
  while (!m_output.empty()) {
    if (!sendNow()) return Result::kClosed;
    if (m_output.empty()) break;
    switch (waitFor(POLLOUT, deadline)) {
      case Wait::kTimeOut:
        return Result::kTimeOut;
      case Wait::kIdle:
        return close("the peer did not take what was sent");
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
      if (wanted == 0) return close("a packet of a wrong length");
      if (m_filled == wanted) return judge();
    }
    bool ended = false;
    if (readMore(wanted, ended)) continue;
    // The end of the stream is the end of the link, whichever way the radio tells it.
    if (ended) return close("closed by the peer");
    switch (waitFor(POLLIN, deadline)) {
      case Wait::kTimeOut:
        return Result::kTimeOut;
      case Wait::kIdle:
        return close("the peer said nothing for too long");
      case Wait::kReady:
        break;
    }
  }
}

/// Reads until the packet has so many bytes, without waiting. False when nothing more is there now,
/// or ever.
bool GuardedLink::readMore(std::size_t wanted, bool& ended) {
  if (m_packet.size() < wanted) m_packet.resize(wanted);
  const ssize_t got = recv(m_radio, m_packet.data() + m_filled, wanted - m_filled, MSG_DONTWAIT);
  if (got > 0) {
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

/// `kPacket` when there is nothing to repeat. All that was to be sent has gone out before anything
/// was read.
GuardedLink::Result GuardedLink::repeatConnect() {
  m_output = m_retry.answered(m_received);
  if (m_output.empty() || !hostWantsSecondConnect()) {
    m_output.clear();
    return Result::kPacket;
  }
  return judgeOutput() && sendNow() ? Result::kRepeated : Result::kClosed;
}

/// A peer that refuses CONNECT may leave out the rest of the answer, or fill it with zeros. The
/// library would read it all the same, and go by its packet size: it gets the one that holds
/// without an agreement.
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
    if (sent <= 0) return fail("the packet could not be handed over");
    done += static_cast<std::size_t>(sent);
  }
  return true;
}

bool GuardedLink::hasUnreadInput() const {
  int unread = 0;
  return ioctl(m_library, FIONREAD, &unread) == 0 && unread > 0;
}

bool GuardedLink::carryAnswers() {
  // A callback may have taken long; the peer is not to blame for it.
  m_idleSince = Clock::now();
  std::array<std::uint8_t, PacketGuard::kMaxSize + 1> buffer;
  for (;;) {
    const ssize_t got = recv(m_pair, buffer.data(), buffer.size(), MSG_DONTWAIT);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;
    m_output.insert(m_output.end(), buffer.begin(), buffer.begin() + got);
  }
  return judgeOutput() && sendNow();
}

/// Lets the guard see each packet of the library's.
bool GuardedLink::judgeOutput() {
  while (m_output.size() - m_judged >= PacketGuard::kHeadSize) {
    std::uint8_t* const packet = m_output.data() + m_judged;
    const std::size_t length = PacketGuard::packetLength(packet);
    if (length == 0 || length > m_output.size() - m_judged) {
      return fail("the library wrote something that is no packet");
    }
    // The library forgets the bit with which every ABORT must go out.
    if (packet[0] == OBEX_CMD_ABORT) packet[0] |= kFinal;
    if (const char* reason = m_guard.sent(packet, length)) return fail(reason);
    if (m_guard.side() == PacketGuard::Side::kClient) m_retry.sent(packet, length);
    m_sent = packet[0] & ~kFinal;
    m_judged += length;
  }
  return m_judged == m_output.size() || fail("the library wrote something that is no packet");
}

bool GuardedLink::sendNow() {
  std::size_t done = 0;
  while (done < m_judged) {
    const ssize_t sent =
        send(m_radio, m_output.data() + done, m_judged - done, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent < 0 && errno == EINTR) continue;
    if (sent < 0 && isAgain(errno)) break;
    if (sent <= 0) return fail("closed by the peer");
    done += static_cast<std::size_t>(sent);
  }
  m_output.erase(m_output.begin(), m_output.begin() + static_cast<std::ptrdiff_t>(done));
  m_judged -= done;
  return true;
}

}  // namespace openobex
