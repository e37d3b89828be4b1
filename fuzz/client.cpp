// A push to a hostile receiver: the real card sender with the OBEX library, over the virtual radio.
//
// Input: a byte for the size of the card (in steps of 64 bytes), then the receiver's writes, each a
// length byte and its bytes. The receiver writes after each request and closes at the end of input.
//
// Checks: the push ends without a time-out and sends whole, well-formed packets in the order
// CONNECT, PUT, DISCONNECT; only a forbidden CONNECT is repeated, once, without Who; after a
// success the whole card was sent and every request but such a CONNECT got success; tracing changes
// nothing.

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <thread>

#include "framework/RadioLinkIfc.h"
#include "fuzz/support/Contract.h"
#include "fuzz/support/Packets.h"
#include "fuzz/support/ScratchRadio.h"
#include "fuzz/support/Tracing.h"
#include "src/CARD_Sender.h"

namespace fuzz {
namespace {

constexpr std::uint8_t kChannel = 9;
constexpr int kSuccess = 0xA0;
constexpr int kForbidden = 0xC3;
constexpr std::uint8_t kWho = 0x4A;
constexpr int kTimeout = 5000;  // milliseconds; half of the sender's own

/// A host that has a forbidden CONNECT repeated.
class Host : public RadioLinkIfc {
 public:
  Host() { setRadioLink(this); }
  ~Host() override { setRadioLink(nullptr); }
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  void linkListening(int) override {}
  void linkStopped() override {}
  bool linkAccepted(const std::string&) override { return true; }
  void linkObject(const std::string&, std::size_t) override {}
  void linkAnswered(int, int) override {}
  void linkClosed(const std::string&) override {}
  bool linkForbidden() override { return true; }
};

/// Serves one link on its own thread.
class Receiver {
 public:
  explicit Receiver(std::string_view script)
      : m_script(script), m_listener(listener()), m_thread([this] { receive(); }) {}
  ~Receiver() { finish(); }
  Receiver(const Receiver&) = delete;
  Receiver& operator=(const Receiver&) = delete;

  void finish() {
    if (m_thread.joinable()) m_thread.join();
  }

  // All traffic; valid after `finish`.
  std::string received;
  std::string sent;

 private:
  static int listener() {
    static const int socket = [] {
      const int made = ScratchRadio::openSocket();
      const sockaddr_rc place = ScratchRadio::place(kChannel);
      const auto* address = reinterpret_cast<const sockaddr*>(&place);
      require(::bind(made, address, sizeof place) == 0 && ::listen(made, 1) == 0,
              "the channel is free");
      return made;
    }();
    return socket;
  }

  void receive() {
    pollfd waiting{m_listener, POLLIN, 0};
    require(::poll(&waiting, 1, kTimeout) == 1, "the sender connects");
    const int link = ::accept(m_listener, nullptr, nullptr);
    require(link >= 0, "the link is accepted");
    while (takeRequest(link) && answer(link)) {
    }
    ::close(link);
  }

  /// Waits for a request that is not answered yet. False at the end of the link.
  bool takeRequest(int link) {
    while (countPackets(received) <= countPackets(sent)) {
      pollfd waiting{link, POLLIN, 0};
      require(::poll(&waiting, 1, kTimeout) == 1, "the sender never stalls");
      char buffer[16384];
      const ssize_t got = ::recv(link, buffer, sizeof buffer, 0);
      if (got <= 0) return false;
      received.append(buffer, static_cast<std::size_t>(got));
    }
    return true;
  }

  /// Sends writes of the script until they complete a response. False when there are none left.
  bool answer(int link) {
    const std::size_t before = countPackets(sent);
    while (countPackets(sent) == before) {
      if (m_script.empty()) return false;
      const std::string_view piece = m_script.substr(1, static_cast<std::uint8_t>(m_script[0]));
      m_script.remove_prefix(1 + piece.size());
      sent += piece;
      if (::send(link, piece.data(), piece.size(), MSG_NOSIGNAL) < 0) return false;
    }
    return true;
  }

  static std::size_t countPackets(std::string_view bytes) {
    std::size_t count = 0;
    while (cutPacket(bytes)) ++count;
    return count;
  }

  std::string_view m_script;
  const int m_listener;
  std::thread m_thread;
};

struct Push {
  int error;
  std::string received;
  std::string sent;
};

/// How much of a failed push the receiver sees is a race.
bool areSame(const Push& left, const Push& right) {
  return left.error == right.error && (left.error != 0 || left.received == right.received);
}

Push push(const std::string& card, std::string_view script) {
  Receiver receiver(script);
  CARD_Sender sender(card, ScratchRadio::kAddress, kChannel, "Doe.vcf");
  const auto begin = std::chrono::steady_clock::now();
  sender.run();
  const auto took = std::chrono::steady_clock::now() - begin;
  receiver.finish();
  require(took < std::chrono::milliseconds(kTimeout), "a push to a responsive peer ends soon");
  const int error = sender.getError();
  require(error == 0 || error == 1, "a push succeeds or fails");
  return {error, std::move(receiver.received), std::move(receiver.sent)};
}

bool hasWho(std::string_view connect) {
  const std::optional<Packet> packet = readPacket(connect, bytesBeforeHeaders(kConnect));
  require(packet.has_value(), "a CONNECT is well formed");
  return std::any_of(packet->headers.begin(), packet->headers.end(),
                     [](const PacketHeader& header) { return header.identifier == kWho; });
}

/// Requests and their responses.
struct Exchange {
  std::string_view received;
  std::string_view sent;
};

/// The traffic of a push, without a first CONNECT that was forbidden.
Exchange whatCounts(const Push& push) {
  Exchange rest{push.received, push.sent};
  const std::optional<std::string_view> connect = cutPacket(rest.received);
  const std::optional<std::string_view> answer = cutPacket(rest.sent);
  if (!connect || !answer) return {push.received, push.sent};
  require(hasWho(*connect), "the first CONNECT has a Who header");
  if (static_cast<std::uint8_t>((*answer)[0]) != kForbidden) return {push.received, push.sent};
  std::string_view received = rest.received;
  const std::optional<std::string_view> second = cutPacket(received);
  require(!second || !hasWho(*second), "the second CONNECT has none");
  return rest;
}

/// The requests of a push, parsed.
struct Understood {
  std::string commands;  ///< a letter per command
  int connects = 0;
  int ended = 0;  ///< final packets
  std::string body;
};

Understood understand(std::string_view received) {
  Understood understood;
  while (const std::optional<std::string_view> bytes = cutPacket(received)) {
    const int command = static_cast<std::uint8_t>((*bytes)[0]) & 0x7F;
    require(command == kConnect || command == kPut || command == kDisconnect,
            "requests are CONNECT, PUT and DISCONNECT");
    const std::optional<Packet> packet = readPacket(*bytes, bytesBeforeHeaders(command));
    require(packet.has_value(), "requests are well formed");
    for (const PacketHeader& header : packet->headers) {
      if (header.identifier == kBody || header.identifier == kEndOfBody)
        understood.body += header.value;
    }
    const char letter = "cdp"[command];
    if (!understood.commands.ends_with(letter)) understood.commands += letter;
    if (command == kConnect) ++understood.connects;
    if (packet->isFinal()) ++understood.ended;
  }
  return understood;
}

/// Whether every final packet got success.
bool areAllAnswersGood(Exchange exchange) {
  while (const std::optional<std::string_view> request = cutPacket(exchange.received)) {
    const std::optional<std::string_view> answer = cutPacket(exchange.sent);
    if (!answer) return false;
    const bool final = ((*request)[0] & 0x80) != 0;
    const int code = static_cast<std::uint8_t>((*answer)[0]);
    if (final && code != kSuccess) return false;
  }
  return true;
}

void check(const Push& push, const std::string& card) {
  const Exchange exchange = whatCounts(push);
  const Understood understood = understand(exchange.received);
  require(std::string_view("cpd").starts_with(understood.commands), "requests are in order");
  require(understood.connects <= 1, "CONNECT is repeated only when forbidden");
  require(card.starts_with(understood.body), "the body is a prefix of the card");
  if (push.error != 0) return;
  require(understood.commands == "cpd" && understood.ended == 3, "a successful push is complete");
  require(understood.body == card, "a successful push has sent the whole card");
  require(areAllAnswersGood(exchange), "a successful push got success");
}

}  // namespace
}  // namespace fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace fuzz;  // NOLINT: it is the target's own
  constexpr std::uint64_t kTracedShare = 16;
  constexpr std::size_t kStep = 64;
  static const ScratchRadio radio;
  static const Host host;
  if (size == 0) return 0;
  const std::string_view input = textOf(data, size);
  const std::string card =
      "BEGIN:VCARD\r\nN:Doe\r\nTITLE:" + std::string(data[0] * kStep, 'x') + "\r\nEND:VCARD\r\n";
  const Push result = push(card, input.substr(1));
  check(result, card);
  if (isSampled(input, kTracedShare)) {
    const Tracing tracing;
    require(areSame(push(card, input.substr(1)), result), "tracing changes nothing");
  }
  return 0;
}
