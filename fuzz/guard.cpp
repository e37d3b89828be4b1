// PacketGuard without a link.
//
// Input: a byte for the side (odd: client), then packets: a control byte, a two-byte length, and
// the packet, whose own length field may differ. Control byte: bit 7 set means sent by us; bits 6
// and 5 both set mean repeated 2^(bits 4-0) times.
//
// Checks: a verdict is null or a text; what passes is well formed according to an independent
// parser, within the limits and allowed at this point; verdicts are deterministic.

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/support/Contract.h"
#include "fuzz/support/Packets.h"
#include "openobex/PacketGuard.h"
#include "openobex/openobex.h"

namespace fuzz {
namespace {

using openobex::PacketGuard;
using Side = PacketGuard::Side;

/// An independent count of what passed of one request.
struct Request {
  int command = -1;
  bool complete = true;
  std::size_t packets = 0;
  std::size_t headers = 0;
  std::size_t headerBytes = 0;
  std::size_t bodyBytes = 0;
  bool bodyEnded = false;

  void count(const Packet& packet) {
    ++packets;
    for (const PacketHeader& header : packet.headers) {
      const bool body = header.identifier == kBody || header.identifier == kEndOfBody;
      const int low = header.identifier & 0x3F;
      require(body || (low != 0x08 && low != 0x09), "no header can be mistaken for a body");
      if (body && !header.value.empty()) {
        require(!bodyEnded, "no body data after End-of-Body");
        bodyBytes += header.value.size();
      } else {
        ++headers;
        headerBytes += header.value.size();
      }
      if (header.identifier == kEndOfBody) bodyEnded = true;
    }
    require(packets <= openobex::kMaxPackets && headers <= openobex::kMaxHeaders &&
                headerBytes <= openobex::kMaxHeaderBytes && bodyBytes <= openobex::kMaxObjectSize,
            "what passes is within the limits");
  }
};

/// Drives a guard and checks everything that passes.
class Follower {
 public:
  explicit Follower(Side side) : m_guard(side), m_side(side) {}

  /// False when the guard refused the packet.
  bool take(bool ours, std::string_view bytes) {
    // An exact copy, so that the sanitizer detects reads beyond the packet.
    const std::vector<std::uint8_t> exact(bytes.begin(), bytes.end());
    const char* verdict =
        ours ? m_guard.sent(exact.data(), exact.size()) : m_guard.check(exact.data(), exact.size());
    if (verdict != nullptr) {
      require(std::string_view(verdict).size() > 10, "a verdict is a text");
      verdicts.emplace_back(verdict);
      return false;
    }
    if (ours) {
      followOurs(bytes);
    } else {
      followPeers(bytes);
    }
    return true;
  }

  std::vector<std::string> verdicts;

 private:
  void followOurs(std::string_view bytes) {
    const auto code = static_cast<std::uint8_t>(bytes[0]);
    if (m_side == Side::kServer) {
      if ((code & 0x7F) != OBEX_RSP_CONTINUE) m_request.complete = true;
      return;
    }
    beginUnlessUnderWay(code & 0x7F);
    m_request.complete = (code & 0x80) != 0;
    m_answerDue = true;
  }

  void followPeers(std::string_view bytes) {
    const bool answers = m_side == Side::kClient;
    const auto code = static_cast<std::uint8_t>(bytes.empty() ? 0 : bytes[0]);
    const int command = answers ? m_request.command : code & 0x7F;
    const std::size_t head = bytesBeforeHeaders(answers && command == kSetPath ? kPut : command);
    const std::optional<Packet> packet = readPacket(bytes, head);
    require(packet.has_value(), "what passes is well formed");
    if (answers) {
      require(m_answerDue && packet->isFinal() && packet->command() >= 0x10,
              "a response passes only when one is due");
      m_answerDue = false;
    } else {
      const bool single = command == kConnect || command == kDisconnect || command == kSetPath;
      require(packet->isFinal() || !single, "a single-packet request has the final bit");
      beginUnlessUnderWay(command);
      m_request.complete = packet->isFinal();
    }
    m_request.count(*packet);
    require(m_guard.bodySize() == m_request.bodyBytes && m_guard.command() == m_request.command,
            "the guard counts what passes");
  }

  void beginUnlessUnderWay(int command) {
    if (!m_request.complete && command == m_request.command) return;
    m_request = {};
    m_request.command = command;
  }

  PacketGuard m_guard;
  const Side m_side;
  Request m_request;
  bool m_answerDue = false;
};

struct Step {
  bool ours;
  std::size_t times;
  std::string_view bytes;
};

std::optional<Step> cutStep(std::string_view& input) {
  if (input.size() < 3) return std::nullopt;
  constexpr unsigned kMostDoublings = 16;
  const auto kind = static_cast<std::uint8_t>(input[0]);
  const std::size_t length = (static_cast<std::size_t>(static_cast<std::uint8_t>(input[1])) << 8) |
                             static_cast<std::uint8_t>(input[2]);
  const unsigned doublings = (kind & 0x60U) == 0x60U ? std::min(kind & 0x1FU, kMostDoublings) : 0;
  const std::size_t times = std::size_t{1} << doublings;
  input.remove_prefix(3);
  const Step step{(kind & 0x80) != 0, times, input.substr(0, length)};
  input.remove_prefix(step.bytes.size());
  return step;
}

std::vector<std::string> follow(std::string_view input) {
  std::size_t budget = openobex::kMaxPackets + 100;  // enough to reach every limit
  if (input.empty()) return {};
  Follower follower((input[0] & 1) != 0 ? Side::kClient : Side::kServer);
  input.remove_prefix(1);
  while (const std::optional<Step> step = cutStep(input)) {
    // The link never passes less than a head to `sent`.
    if (step->ours && step->bytes.size() < PacketGuard::kHeadSize) break;
    for (std::size_t i = 0; i < step->times && budget > 0; ++i, --budget) {
      if (!follower.take(step->ours, step->bytes)) return follower.verdicts;
    }
  }
  return follower.verdicts;
}

}  // namespace
}  // namespace fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view input = fuzz::textOf(data, size);
  const std::vector<std::string> verdicts = fuzz::follow(input);
  fuzz::require(fuzz::follow(input) == verdicts, "verdicts are deterministic");
  return 0;
}
