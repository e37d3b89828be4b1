// A push to a hostile receiver: the real sender of cards, over the virtual radio, the layer and the
// OBEX library.
//
// An input is a byte that says how large the card is (in steps of 64 bytes), then what the receiver
// sends: each time a request has come a length of one byte and so many bytes. When it has nothing
// more to send it closes the link.
//
// Promised: the push ends, without waiting for a time-out; it succeeds or fails; what it sends are
// whole, well-formed packets, in the order CONNECT, PUT, DISCONNECT; a CONNECT that was forbidden
// is made once more without the name of a service, and no other request is repeated; when it says
// that it succeeded the whole card has gone out and every request that counts was answered with
// success; traces change nothing.

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
constexpr int kTimeout = 5000;  // milliseconds; the sender's own is twice that

/// A host that has a forbidden CONNECT made again.
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

/// Takes one link and plays its part on a thread of its own.
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

  // What went over the link; only after `finish`.
  std::string received;
  std::string sent;

 private:
  static int listener() {
    static const int socket = [] {
      const int made = ScratchRadio::openSocket();
      const sockaddr_rc place = ScratchRadio::place(kChannel);
      const auto* address = reinterpret_cast<const sockaddr*>(&place);
      require(::bind(made, address, sizeof place) == 0 && ::listen(made, 1) == 0,
              "the radio has a free channel");
      return made;
    }();
    return socket;
  }

  void receive() {
    pollfd waiting{m_listener, POLLIN, 0};
    require(::poll(&waiting, 1, kTimeout) == 1, "a push begins with a link");
    const int link = ::accept(m_listener, nullptr, nullptr);
    require(link >= 0, "the link is accepted");
    while (takeRequest(link) && answer(link)) {
    }
    ::close(link);
  }

  /// Waits until more requests have come than answers were sent. False at the end of the link.
  bool takeRequest(int link) {
    while (countPackets(received) <= countPackets(sent)) {
      pollfd waiting{link, POLLIN, 0};
      require(::poll(&waiting, 1, kTimeout) == 1, "a push never leaves its receiver waiting");
      char buffer[16384];
      const ssize_t got = ::recv(link, buffer, sizeof buffer, 0);
      if (got <= 0) return false;
      received.append(buffer, static_cast<std::size_t>(got));
    }
    return true;
  }

  /// Sends pieces of the script until they make up an answer. False when there are none left.
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

/// How much of a push that failed is still seen depends on who is faster.
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
  require(took < std::chrono::milliseconds(kTimeout), "a push to someone who answers ends soon");
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

/// The requests of a push and the answers to them.
struct Exchange {
  std::string_view received;
  std::string_view sent;
};

/// What counts of a push: all of it, but for a first CONNECT that was forbidden.
Exchange whatCounts(const Push& push) {
  Exchange rest{push.received, push.sent};
  const std::optional<std::string_view> connect = cutPacket(rest.received);
  const std::optional<std::string_view> answer = cutPacket(rest.sent);
  if (!connect || !answer) return {push.received, push.sent};
  require(hasWho(*connect), "the first CONNECT names a service");
  if (static_cast<std::uint8_t>((*answer)[0]) != kForbidden) return {push.received, push.sent};
  std::string_view received = rest.received;
  const std::optional<std::string_view> second = cutPacket(received);
  require(!second || !hasWho(*second), "the second CONNECT names none");
  return rest;
}

/// What the receiver understood of a push.
struct Understood {
  std::string commands;  ///< a letter for each request
  int connects = 0;
  int ended = 0;  ///< requests of which the last packet came
  std::string body;
};

Understood understand(std::string_view received) {
  Understood understood;
  while (const std::optional<std::string_view> bytes = cutPacket(received)) {
    const int command = static_cast<std::uint8_t>((*bytes)[0]) & 0x7F;
    require(command == kConnect || command == kPut || command == kDisconnect,
            "a push is made of CONNECT, PUT and DISCONNECT");
    const std::optional<Packet> packet = readPacket(*bytes, bytesBeforeHeaders(command));
    require(packet.has_value(), "what a push sends is well formed");
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

/// Whether every request was answered with success: of the answers to the packets of a PUT the
/// last.
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
  require(std::string_view("cpd").starts_with(understood.commands), "requests come in their order");
  require(understood.connects <= 1, "no other CONNECT is made again");
  require(card.starts_with(understood.body), "a body is a card from its beginning");
  if (push.error != 0) return;
  require(understood.commands == "cpd" && understood.ended == 3,
          "a push that succeeded was made to its end");
  require(understood.body == card, "a push that succeeded has sent the whole card");
  require(areAllAnswersGood(exchange), "a push that succeeded was answered with success");
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
    require(areSame(push(card, input.substr(1)), result), "traces change nothing");
  }
  return 0;
}
