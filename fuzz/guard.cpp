// The judge of packets, without a link.
//
// An input is the side (odd: the peer answers us), then packets: a byte that says whose it is (its
// highest bit: ours) and how often it comes (once, but where the next two bits are set: as often as
// two to the power of the other five), two bytes of length, and the packet's bytes; the length in
// the packet itself may lie.
//
// Promised: a verdict is a sentence or none; what passes is well formed by another reading of it,
// within the limits of its request, and in its place; the same packets get the same verdicts.

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

/// What was let through of one request, counted anew.
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
      require(body || (low != 0x08 && low != 0x09),
              "the library can't mistake a header for a body");
      if (body && !header.value.empty()) {
        require(!bodyEnded, "a body doesn't go on after its end");
        bodyBytes += header.value.size();
      } else {
        ++headers;
        headerBytes += header.value.size();
      }
      if (header.identifier == kEndOfBody) bodyEnded = true;
    }
    require(packets <= openobex::kMaxPackets && headers <= openobex::kMaxHeaders &&
                headerBytes <= openobex::kMaxHeaderBytes && bodyBytes <= openobex::kMaxObjectSize,
            "what is let through stays within the limits");
  }
};

/// Follows a guard, and looks at everything that it lets through.
class Follower {
 public:
  explicit Follower(Side side) : m_guard(side), m_side(side) {}

  /// False when the guard ended the link.
  bool take(bool ours, std::string_view bytes) {
    // Of exactly this size, so that the sanitizer sees a byte read behind it.
    const std::vector<std::uint8_t> exact(bytes.begin(), bytes.end());
    const char* verdict =
        ours ? m_guard.sent(exact.data(), exact.size()) : m_guard.check(exact.data(), exact.size());
    if (verdict != nullptr) {
      require(std::string_view(verdict).size() > 10, "a verdict is in words");
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
    require(packet.has_value(), "what is let through is well formed");
    if (answers) {
      require(m_answerDue && packet->isFinal() && packet->command() >= 0x10,
              "an answer is let through when one is due");
      m_answerDue = false;
    } else {
      const bool single = command == kConnect || command == kDisconnect || command == kSetPath;
      require(packet->isFinal() || !single, "a request of one packet is let through whole");
      beginUnlessUnderWay(command);
      m_request.complete = packet->isFinal();
    }
    m_request.count(*packet);
    require(m_guard.bodySize() == m_request.bodyBytes && m_guard.command() == m_request.command,
            "the guard counts what it lets through");
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
  std::size_t budget = openobex::kMaxPackets + 100;  // what it takes to reach every limit
  if (input.empty()) return {};
  Follower follower((input[0] & 1) != 0 ? Side::kClient : Side::kServer);
  input.remove_prefix(1);
  while (const std::optional<Step> step = cutStep(input)) {
    // What the link hands over is as long as it says, or is a stranger's attempt.
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
  fuzz::require(fuzz::follow(input) == verdicts, "the same packets get the same verdict");
  return 0;
}
