#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "openobex/PacketGuard.h"

namespace openobex {

/// A link to a peer, with the guard between the radio and the library: the radio's descriptor is
/// duplicated, and one end of a socket pair put in its place under the library's descriptor. Whole
/// packets that pass the guard are handed to the library through the pair; what it answers is
/// carried back. No call here waits longer than it says, whatever the peer does or doesn't do.
///
/// Threads: the thread that uses the library's handle. The object owns its descriptors, not the
/// library's.
class GuardedLink {
 public:
  enum class Result {
    kPacket,   ///< a packet was handed to the library
    kTimeOut,  ///< none was whole in time
    kClosed,   ///< the link has ended; `reason` tells why
  };

  explicit GuardedLink(PacketGuard::Side side) : m_guard(side) {}
  ~GuardedLink();
  GuardedLink(const GuardedLink&) = delete;
  GuardedLink& operator=(const GuardedLink&) = delete;

  /// Takes the radio's place under the library's descriptor. False when the system has no
  /// descriptors left.
  bool open(int libraryDescriptor);

  /// Waits for one whole packet, checks it and makes it ready to be handed over.
  Result receive(std::chrono::milliseconds timeout);
  /// Hands the packet that was received to the library. False when the pair is broken.
  bool handOver();
  /// Carries everything the library has written to the peer. False when the peer doesn't take it.
  bool carryAnswers();
  /// Whether the library has not yet read all that was handed over.
  [[nodiscard]] bool hasUnreadInput() const;

  [[nodiscard]] const PacketGuard& guard() const { return m_guard; }
  [[nodiscard]] const std::string& reason() const { return m_reason; }
  /// The codes of the last packets that came in and went out, without the final bit; -1 before the
  /// first.
  [[nodiscard]] int lastReceived() const { return m_received; }
  [[nodiscard]] int lastSent() const { return m_sent; }
  /// The radio's descriptor, for asking who is at its other end.
  [[nodiscard]] int radio() const { return m_radio; }

 private:
  using Clock = std::chrono::steady_clock;

  Result close(const char* reason);
  bool readMore(std::size_t wanted, bool& ended);
  bool writeToRadio(const std::uint8_t* data, std::size_t length);
  void padRefusedConnect();

  PacketGuard m_guard;
  int m_radio = -1;
  int m_pair = -1;
  int m_library = -1;
  std::vector<std::uint8_t> m_packet;
  std::size_t m_filled = 0;
  Clock::time_point m_lastPacket;
  std::string m_reason;
  int m_received = -1;
  int m_sent = -1;
};

}  // namespace openobex
