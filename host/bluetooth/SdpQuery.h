#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace host {

/// One service of a device, as its service discovery tells of it.
struct SdpRecord {
  int channel = 0;   ///< RFCOMM, 1 to 30; 0 when it names none
  std::string name;  ///< not safe to show
};

/// Reads the attribute lists of a service discovery answer: a sequence with one list of numbers and
/// values for each record. None when the bytes, which any device in reach may have sent, are
/// anything else. Records that name neither channel nor name are in it, too.
///
/// Stateless: any thread.
std::optional<std::vector<SdpRecord>> readSdpRecords(std::span<const std::uint8_t> bytes);

/// Asks a device, by service discovery (SDP), for its Object Push services: on which channel it
/// takes cards.
///
/// Threads: one object serves one thread, which waits; `cancel` may be called from any other. The
/// answer comes from whoever has that address, and everything about it is bounded.
class SdpQuery {
 public:
  enum class Outcome {
    kAnswered,     ///< `records` holds what it has, nothing when it takes no cards
    kUnreachable,  ///< it could not be asked; `problem` says why
    kNoBluetooth,  ///< nobody can be asked: this machine has none
  };
  struct Answer {
    Outcome outcome = Outcome::kUnreachable;
    std::vector<SdpRecord> records;
    std::string problem;  ///< a sentence without an end, safe to show
  };

  SdpQuery();
  ~SdpQuery();
  SdpQuery(const SdpQuery&) = delete;
  SdpQuery& operator=(const SdpQuery&) = delete;

  /// `address` is the device's, `source` that of the adapter to ask with, empty for any.
  Answer ask(const std::string& address, const std::string& source,
             std::chrono::milliseconds timeout);
  /// Asks bluetoothd on this machine, which opens a way to that only when it is told to
  /// (`--compat`) and only to some.
  Answer askLocal();
  /// The same over a connected socket, which stays the caller's. Each of its packets is read at
  /// once.
  Answer askOver(int socket, std::chrono::milliseconds timeout);
  /// Makes `ask` return soon.
  void cancel();

 private:
  using Clock = std::chrono::steady_clock;

  bool connect(int socket, const std::string& address, const std::string& source, Answer& answer);
  bool exchange(int socket, Answer& answer);
  bool take(const std::vector<std::uint8_t>& packet, Answer& answer);
  bool waitFor(int socket, short events, Answer& answer);

  int m_cancel;  ///< an event descriptor
  Clock::time_point m_deadline;
  std::uint16_t m_transaction = 0;
  std::vector<std::uint8_t> m_lists;         ///< of the answer, as far as it has come
  std::vector<std::uint8_t> m_continuation;  ///< what the next request must repeat
};

}  // namespace host
