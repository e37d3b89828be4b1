#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "openobex/PacketGuard.h"
#include "openobex/openobex.h"

namespace openobex {

/// Repeats a refused CONNECT without its Who header. Who names the wanted service; some receivers,
/// the desktops' object push server among them, accept any client that names none but answer
/// Forbidden to every name except their own. Only Forbidden is retried, and only once per link.
///
/// Does no I/O. Belongs to one link and its thread.
class ConnectRetry {
 public:
  /// Call for each packet that goes out.
  void sent(const std::uint8_t* packet, std::size_t length);
  /// Call for each response, `code` without the final bit. Returns the CONNECT to send next, in
  /// which case the response must not be passed on; empty otherwise.
  std::vector<std::uint8_t> answered(int code);
  /// The request in flight was cancelled: don't retry it.
  void giveUp() { m_second.clear(); }

 private:
  std::vector<std::uint8_t> m_second;  ///< the CONNECT in flight without Who, or empty
  bool m_goesOn = false;               ///< the last packet sent didn't have the final bit
  bool m_used = false;
};

/// A connection to a peer, with a `PacketGuard` between the radio and the library. The link
/// duplicates the radio's descriptor and puts one end of a socket pair in its place, under the
/// library's descriptor. The library gets whole, checked packets through the pair, and the link
/// sends what it answers. The library's end stays open as long as the library, which therefore
/// never blocks and never gets SIGPIPE.
///
/// A CONNECT that `ConnectRetry` repeats is sent by the link itself; the library only sees the
/// second response.
///
/// No call blocks longer than its time-out. What the peer doesn't read is buffered, and until it
/// does nothing more is read from it.
///
/// Belongs to the thread of the library's handle. Owns its descriptors, not the library's.
class GuardedLink {
 public:
  enum class Result {
    kPacket,    ///< a packet is ready for `handOver`
    kRepeated,  ///< CONNECT was sent again; nothing for the library
    kTimeOut,   ///< no whole packet yet
    kClosed,    ///< the link has ended; see `reason`
  };
  using Clock = std::chrono::steady_clock;

  /// Tests replace the clock with `now`; they may call `receive` with a time-out of 0 only.
  explicit GuardedLink(PacketGuard::Side side, Clock::time_point (*now)() = &Clock::now)
      : m_guard(side), m_now(now) {}
  ~GuardedLink();
  GuardedLink(const GuardedLink&) = delete;
  GuardedLink& operator=(const GuardedLink&) = delete;

  /// Replaces the library's descriptor. False when out of descriptors or buffer space.
  bool open(int libraryDescriptor);

  /// Sends buffered output, then waits for one whole packet and checks it. On the server side
  /// enforces the idle and packet time limits of openobex.h.
  Result receive(std::chrono::milliseconds timeout);
  /// Passes the packet to the library. False when the link must be closed.
  bool handOver();
  /// Takes what the library has written and sends as much as the peer accepts without blocking.
  /// False when the link has ended.
  bool carryAnswers();
  /// Whether the library has not read everything yet.
  [[nodiscard]] bool hasUnreadInput() const;

  /// The next packet sent begins a new request.
  void beginRequest() { m_guard.beginRequest(); }
  /// The request in flight was cancelled.
  void giveUpRequest() { m_retry.giveUp(); }
  [[nodiscard]] const PacketGuard& guard() const { return m_guard; }
  [[nodiscard]] const std::string& reason() const { return m_reason; }
  /// Code of the last packet received, without the final bit; -1 before the first.
  [[nodiscard]] int lastReceived() const { return m_received; }
  /// Code of the packet sent since the last one was received, without the final bit; -1 for none.
  [[nodiscard]] int lastSent() const { return m_sent; }
  /// The radio's descriptor, for getpeername.
  [[nodiscard]] int radio() const { return m_radio; }

 private:
  enum class Wait { kReady, kTimeOut, kIdle, kSlow };

  Result close(const char* reason);
  bool fail(const char* reason);
  Wait waitFor(short events, Clock::time_point deadline, std::size_t packetLength) const;
  Result receivePacket(Clock::time_point deadline);
  Result flush(Clock::time_point deadline);
  bool readMore(std::size_t wanted, bool& ended);
  Result judge();
  void completeRefusedConnect();
  Result repeatConnect();
  bool judgeOutput();
  bool sendNow();

  PacketGuard m_guard;
  ConnectRetry m_retry;
  Clock::time_point (*const m_now)();
  int m_radio = -1;
  int m_pair = -1;
  int m_library = -1;
  std::vector<std::uint8_t> m_packet;
  std::size_t m_filled = 0;
  std::vector<std::uint8_t> m_output;
  std::size_t m_judged = 0;         ///< bytes of `m_output` that are checked whole packets
  Clock::time_point m_lastByte;     ///< when the peer last sent or took one
  Clock::time_point m_packetBegan;  ///< first byte of the packet in progress, either direction
  std::string m_reason;
  int m_received = -1;
  int m_sent = -1;
};

}  // namespace openobex
