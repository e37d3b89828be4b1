#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "openobex/PacketGuard.h"
#include "openobex/openobex.h"

namespace openobex {

/// The second try at a CONNECT that was refused for its Who header. That header names the service
/// that is wanted, and there are receivers that take cards from anyone who names none but know no
/// name except their own: the desktops' receiver of objects answers Forbidden, and so to every PUT
/// after it. To such an answer, and to no other refusal, the same CONNECT without Who is the next
/// thing to send, if the host wants it. A link has one second try, so a peer that refuses both is
/// not asked again.
///
/// Does no input or output. Threads: one object belongs to one link and its thread.
class ConnectRetry {
 public:
  /// Takes note of one whole packet of ours that goes out.
  void sent(const std::uint8_t* packet, std::size_t length);
  /// Takes note of the peer's answer to it, a code without the final bit. Returns the packet that
  /// is to go out now, in which case the answer is nobody else's affair; empty when the answer is
  /// to be passed on.
  std::vector<std::uint8_t> answered(int code);
  /// The request in flight was given up: whatever the answer, it is not tried again.
  void giveUp() { m_second.clear(); }

 private:
  std::vector<std::uint8_t> m_second;  ///< the CONNECT in flight without Who; empty for none
  bool m_goesOn = false;               ///< the last packet of ours was not its request's last
  bool m_used = false;
};

/// A link to a peer, with the guard between the radio and the library: the radio's descriptor is
/// duplicated, and one end of a socket pair put in its place under the library's descriptor. Whole
/// packets that pass the guard are handed to the library through the pair; what it answers is
/// carried back. The library's own end never closes before the library does, so it never waits in
/// reading or writing and is never told of a broken pipe.
///
/// A CONNECT that `ConnectRetry` wants to be sent once more is sent by the link itself: the library
/// never hears of the first answer and goes on waiting for the one that counts.
///
/// No call here waits longer than it says, whatever the peer does or doesn't do: what a peer
/// doesn't take is kept until it does, and nothing more is read from it before.
///
/// Threads: the thread that uses the library's handle. The object owns its descriptors, not the
/// library's.
class GuardedLink {
 public:
  enum class Result {
    kPacket,    ///< a packet is ready to be handed to the library
    kRepeated,  ///< a packet came and was answered; the library has nothing to do
    kTimeOut,   ///< none was whole in time
    kClosed,    ///< the link has ended; `reason` tells why
  };

  /// `idleLimit` is how long a peer that came to us may take for one whole packet, or for taking an
  /// answer.
  explicit GuardedLink(PacketGuard::Side side,
                       std::chrono::milliseconds idleLimit = std::chrono::seconds(kMaxIdleSeconds))
      : m_guard(side), m_idleLimit(idleLimit) {}
  ~GuardedLink();
  GuardedLink(const GuardedLink&) = delete;
  GuardedLink& operator=(const GuardedLink&) = delete;

  /// Takes the radio's place under the library's descriptor. False when the system has no
  /// descriptors or no room left.
  bool open(int libraryDescriptor);

  /// Sends what is still to be sent, then waits for one whole packet and checks it.
  Result receive(std::chrono::milliseconds timeout);
  /// Hands the packet that was received to the library. False when the pair doesn't take it.
  bool handOver();
  /// Takes all that the library has written and sends as much as the peer takes at once. False when
  /// the link has ended.
  bool carryAnswers();
  /// Whether the library has not yet read all that was handed over.
  [[nodiscard]] bool hasUnreadInput() const;

  /// A new request of ours begins.
  void beginRequest() { m_guard.beginRequest(); }
  /// The request of ours that is in flight is given up.
  void giveUpRequest() { m_retry.giveUp(); }
  [[nodiscard]] const PacketGuard& guard() const { return m_guard; }
  [[nodiscard]] const std::string& reason() const { return m_reason; }
  /// The code of the last packet that came in, without the final bit; -1 before the first.
  [[nodiscard]] int lastReceived() const { return m_received; }
  /// The code of the packet that the library has written since the last one came in; -1 for none.
  [[nodiscard]] int lastSent() const { return m_sent; }
  /// The radio's descriptor, for asking who is at its other end.
  [[nodiscard]] int radio() const { return m_radio; }

 private:
  using Clock = std::chrono::steady_clock;
  enum class Wait { kReady, kTimeOut, kIdle };

  Result close(const char* reason);
  bool fail(const char* reason);
  Wait waitFor(short events, Clock::time_point deadline) const;
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
  const std::chrono::milliseconds m_idleLimit;
  int m_radio = -1;
  int m_pair = -1;
  int m_library = -1;
  std::vector<std::uint8_t> m_packet;
  std::size_t m_filled = 0;
  std::vector<std::uint8_t> m_output;
  std::size_t m_judged = 0;  ///< so many bytes of the output are whole packets that may go out
  Clock::time_point m_idleSince;
  std::string m_reason;
  int m_received = -1;
  int m_sent = -1;
};

}  // namespace openobex
