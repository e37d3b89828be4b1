#include "openobex/GuardedLink.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "openobex/openobex.h"

namespace openobex {
namespace {

using std::chrono::milliseconds;

/// How long a peer may leave what we send unread.
constexpr milliseconds kWriteTimeout{10000};

milliseconds left(std::chrono::steady_clock::time_point deadline) {
  const auto rest = std::chrono::ceil<milliseconds>(deadline - std::chrono::steady_clock::now());
  return std::max(rest, milliseconds(0));
}

/// Waits for the descriptor. False when the time is over first.
bool waitFor(int descriptor, short events, std::chrono::steady_clock::time_point deadline) {
  for (;;) {
    pollfd waiting{descriptor, events, 0};
    const int result = poll(&waiting, 1, static_cast<int>(left(deadline).count()));
    if (result > 0) return true;
    if (result == 0) return false;
    if (errno != EINTR) return true;  // reading or writing will tell
  }
}

}  // namespace

GuardedLink::~GuardedLink() {
  if (m_radio >= 0) ::close(m_radio);
  if (m_pair >= 0) ::close(m_pair);
}

bool GuardedLink::open(int libraryDescriptor) {
  int pair[2];
  m_radio = fcntl(libraryDescriptor, F_DUPFD_CLOEXEC, 0);
  if (m_radio < 0) return false;
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, pair) != 0) return false;
  m_pair = pair[0];
  const bool replaced = dup2(pair[1], libraryDescriptor) >= 0;
  ::close(pair[1]);
  if (!replaced) return false;
  m_library = libraryDescriptor;
  m_lastPacket = Clock::now();
  const int flags = fcntl(m_radio, F_GETFL);
  return flags >= 0 && fcntl(m_radio, F_SETFL, flags | O_NONBLOCK) == 0;
}

GuardedLink::Result GuardedLink::close(const char* reason) {
  m_reason = reason;
  return Result::kClosed;
}

GuardedLink::Result GuardedLink::receive(milliseconds timeout) {
  const auto deadline = Clock::now() + timeout;
  for (;;) {
    std::size_t wanted = PacketGuard::kHeadSize;
    if (m_filled >= PacketGuard::kHeadSize) {
      wanted = PacketGuard::packetLength(m_packet.data());
      if (wanted == 0) return close("a packet of a wrong length");
      if (m_filled == wanted) break;
    }
    bool ended = false;
    if (readMore(wanted, ended)) continue;
    if (ended) return close("closed by the peer");
    if (Clock::now() - m_lastPacket > std::chrono::seconds(kMaxIdleSeconds)) {
      return close("the peer said nothing for too long");
    }
    if (!waitFor(m_radio, POLLIN, deadline)) return Result::kTimeOut;
  }
  m_lastPacket = Clock::now();
  m_packet.resize(m_filled);
  m_filled = 0;
  padRefusedConnect();
  if (const char* reason = m_guard.check(m_packet.data(), m_packet.size())) return close(reason);
  m_received = m_packet[0] & 0x7F;
  return Result::kPacket;
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
  ended = got == 0 || (errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR);
  return false;
}

/// A peer that refuses CONNECT may leave out the rest of the answer, which the library would read
/// all the same.
void GuardedLink::padRefusedConnect() {
  const bool refusal = m_packet[0] != (OBEX_RSP_SUCCESS | 0x80);
  const bool isAnswer = m_guard.side() == PacketGuard::Side::kClient;
  if (!isAnswer || m_guard.command() != OBEX_CMD_CONNECT) return;
  if (!refusal || m_packet.size() != PacketGuard::kHeadSize) return;
  m_packet = {m_packet[0], 0x00, 0x07, 0x10, 0x00, 0xFF, 0xFF};
}

bool GuardedLink::handOver() {
  std::size_t done = 0;
  while (done < m_packet.size()) {
    const ssize_t sent = send(m_pair, m_packet.data() + done, m_packet.size() - done, MSG_NOSIGNAL);
    if (sent < 0 && errno == EINTR) continue;
    if (sent <= 0) return false;
    done += static_cast<std::size_t>(sent);
  }
  return true;
}

bool GuardedLink::hasUnreadInput() const {
  int unread = 0;
  return ioctl(m_library, FIONREAD, &unread) == 0 && unread > 0;
}

bool GuardedLink::carryAnswers() {
  std::array<std::uint8_t, 65536> buffer;
  for (;;) {
    const ssize_t got = recv(m_pair, buffer.data(), buffer.size(), MSG_DONTWAIT);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return true;  // the library has closed its end, or written no more
    const auto length = static_cast<std::size_t>(got);
    m_guard.sent(buffer.data(), length);
    m_sent = buffer[0] & 0x7F;
    if (!writeToRadio(buffer.data(), length)) return false;
  }
}

bool GuardedLink::writeToRadio(const std::uint8_t* data, std::size_t length) {
  const auto deadline = Clock::now() + kWriteTimeout;
  while (length > 0) {
    const ssize_t sent = send(m_radio, data, length, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent > 0) {
      data += sent;
      length -= static_cast<std::size_t>(sent);
    } else if (sent < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
      if (!waitFor(m_radio, POLLOUT, deadline)) {
        m_reason = "the peer does not take what is sent";
        return false;
      }
    } else if (sent == 0 || errno != EINTR) {
      m_reason = "closed by the peer";
      return false;
    }
  }
  return true;
}

}  // namespace openobex
