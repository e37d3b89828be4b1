#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace host {

/// A service record of a device.
struct SdpRecord {
  int channel = 0;   ///< RFCOMM channel, 1 to 30; 0 if it has none
  std::string name;  ///< not safe to show
};

/// Parses the AttributeLists of an SDP response, one list for each record, from any device in
/// range. Returns nullopt if they are malformed. Threads: any.
std::optional<std::vector<SdpRecord>> readSdpRecords(std::span<const std::uint8_t> bytes);

/// Queries a device's SDP server for its Object Push service records. Size and duration of the
/// answer are bounded: any device can claim the address.
///
/// Threads: one, which blocks; `cancel` may be called from any other.
class SdpQuery {
 public:
  enum class Outcome {
    kAnswered,     ///< `records` holds its Object Push services, possibly none
    kUnreachable,  ///< `problem` says why
    kNoBluetooth,  ///< this machine has no Bluetooth
  };
  struct Answer {
    Outcome outcome = Outcome::kUnreachable;
    std::vector<SdpRecord> records;
    std::string problem;  ///< without a full stop, safe to show
  };

  SdpQuery();
  ~SdpQuery();
  SdpQuery(const SdpQuery&) = delete;
  SdpQuery& operator=(const SdpQuery&) = delete;

  /// Queries the device with this address over the adapter with the address `source`, empty for
  /// any.
  Answer ask(const std::string& address, const std::string& source,
             std::chrono::milliseconds timeout);
  /// Queries the local bluetoothd, which allows that only if it runs with --compat, and only to
  /// root and its group.
  Answer askLocal();
  /// Queries over a connected socket, which stays the caller's. Reads each packet with one recv.
  Answer askOver(int socket, std::chrono::milliseconds timeout);
  /// Makes the query return soon.
  void cancel();

 private:
  using Clock = std::chrono::steady_clock;

  bool connect(int socket, const std::string& address, const std::string& source, Answer& answer);
  bool exchange(int socket, Answer& answer);
  bool take(const std::vector<std::uint8_t>& packet, Answer& answer);
  bool waitFor(int socket, short events, Answer& answer);

  int m_cancel;  ///< eventfd
  Clock::time_point m_deadline;
  std::uint16_t m_transaction = 0;
  std::vector<std::uint8_t> m_lists;         ///< AttributeLists received so far
  std::vector<std::uint8_t> m_continuation;  ///< continuation state for the next request
};

}  // namespace host
