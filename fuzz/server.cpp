// A hostile peer against the push server: over the virtual radio, through the guard and the real
// OBEX library, to the event handlers and the card reader.
//
// Input: a byte for the size of the peer's writes (0: one write), then what it sends, without
// waiting for responses.
//
// Checks: every response is a whole packet with an allowed code, at most one per packet sent; the
// end of the link is reported once; each object answered with success was offered as a card or
// reported as an error, and no other was; the Directory accepts every offered card; tracing changes
// nothing; the next peer is served.

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "framework/RadioLinkIfc.h"
#include "fuzz/support/Contract.h"
#include "fuzz/support/Packets.h"
#include "fuzz/support/ScratchRadio.h"
#include "fuzz/support/Tracing.h"
#include "host/directory/DirectoryRequest.h"
#include "openobex/openobex.h"
#include "src/OBEXServer.h"
#include "src/OBEXService.h"

namespace fuzz {
namespace {

constexpr std::uint8_t kChannel = 4;
constexpr int kSuccess = 0x20;

/// The outcome of a link.
struct Outcome {
  std::string answers;
  std::vector<std::string> offered;
  int errors = 0;
  int successes = 0;  ///< complete objects with a body
  int photos = 0;
  std::vector<std::string> ends;  ///< the reasons for which the link was closed
  bool operator==(const Outcome&) const = default;
};

/// The service, its observer and the link's observer. Discards photos.
class Phone : public OBEXService, public OBEXServiceObserverIfc, public RadioLinkIfc {
 public:
  Phone() {
    subscribe(this);
    setRadioLink(this);
  }
  ~Phone() override { setRadioLink(nullptr); }

  /// What happened since the last call.
  Outcome takeOutcome() {
    vCardsRejected();
    return std::exchange(m_outcome, {});
  }

  int writeFile(const char* data, int size, const std::string& path) override {
    require(data != nullptr && size > 0, "a photo is not empty");
    require(path.starts_with("/data/images/photo"), "photos have this prefix");
    ++m_outcome.photos;
    return 1;
  }
  using OBEXService::sendContact;

  void vCardAccept(const std::string& message) override { m_outcome.offered.push_back(message); }
  void vCardError(const std::string& text, int count) override {
    require(text.empty() && count == 1, "an unreadable object is reported without a text");
    ++m_outcome.errors;
  }
  void vCardReceived(const std::string&, int) override { require(false, "nothing is stored"); }
  void vCardDestRequest(const std::string&) override { require(false, "nothing is sent"); }
  void vCardSendSucc(const std::string&) override { require(false, "nothing is sent"); }
  void vCardSendErr(const std::string&, const std::string&, int) override {
    require(false, "nothing is sent");
  }

  void linkListening(int channel) override { require(channel == kChannel, "the channel is 4"); }
  void linkStopped() override {}
  bool linkAccepted(const std::string& address) override {
    require(address == ScratchRadio::kAddress, "the peer's address is reported");
    return true;
  }
  void linkObject(const std::string&, std::size_t size) override { m_objectUnanswered = size > 0; }
  void linkAnswered(int command, int response) override {
    if (command == kPut && response == kSuccess && m_objectUnanswered) ++m_outcome.successes;
    m_objectUnanswered = false;
  }
  void linkClosed(const std::string& reason) override { m_outcome.ends.push_back(reason); }

 private:
  Outcome m_outcome;
  bool m_objectUnanswered = false;
};

Phone& phone() {
  static Phone phone;
  return phone;
}

/// A listening handle with the server's event handlers.
class Listener {
 public:
  Listener() {
    static OBEXServer server;
    server.setOBEXService(&phone());
    m_handle = openobex::OBEX_Init(OBEX_TRANS_BLUETOOTH, &OBEXServer::obexEventCallback, 0);
    require(m_handle != nullptr, "OpenOBEX opens");
    openobex::OBEX_SetUserData(m_handle, &m_flags);
    require(openobex::BtOBEX_ServerRegister(m_handle, nullptr, kChannel) >= 0,
            "the channel is free");
  }
  ~Listener() { openobex::OBEX_Cleanup(m_handle); }
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  /// Processes all input without waiting. False when the link has ended.
  bool work(std::size_t mostPackets) {
    for (std::size_t calls = 0;; ++calls) {
      const int result = openobex::OBEX_HandleInput(m_handle, 0);
      if (result == 0) return true;
      if (result < 0) {
        require(m_flags.stopRequested == 1 && m_flags.resetRequested == 1,
                "the end of a link is reported to the server");
        return false;
      }
      require(calls <= mostPackets, "no more calls than packets");
    }
  }

 private:
  void** m_handle;
  ServerLoopFlags m_flags{};
};

class Peer {
 public:
  Peer() : m_socket(ScratchRadio::openSocket()) {
    const sockaddr_rc place = ScratchRadio::place(kChannel);
    const auto* address = reinterpret_cast<const sockaddr*>(&place);
    require(::connect(m_socket, address, sizeof place) == 0, "the next peer connects");
    ::fcntl(m_socket, F_SETFL, ::fcntl(m_socket, F_GETFL) | O_NONBLOCK);
  }
  ~Peer() { close(); }
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;

  void send(std::string_view bytes) {
    static_cast<void>(::send(m_socket, bytes.data(), bytes.size(), MSG_NOSIGNAL));
  }
  /// Appends what has arrived.
  void receive(std::string& answers) {
    char buffer[4096];
    for (ssize_t got = 1; got > 0;) {
      got = ::recv(m_socket, buffer, sizeof buffer, MSG_DONTWAIT);
      if (got > 0) answers.append(buffer, static_cast<std::size_t>(got));
    }
  }
  void close() {
    if (m_socket >= 0) ::close(m_socket);
    m_socket = -1;
  }

 private:
  int m_socket;
};

Outcome serve(std::string_view bytes, std::size_t pieceSize) {
  const std::size_t size = std::max<std::size_t>(bytes.size(), 1);
  Listener listener;
  Peer peer;
  std::string answers;
  bool open = listener.work(1);
  require(open, "a peer is accepted");
  for (std::size_t at = 0; at < bytes.size() && open; at += pieceSize) {
    peer.send(bytes.substr(at, pieceSize));
    open = listener.work(size);
    peer.receive(answers);
  }
  peer.close();
  if (open) require(!listener.work(size), "the link ends when the peer closes");
  Outcome outcome = phone().takeOutcome();
  outcome.answers = std::move(answers);
  return outcome;
}

bool isListedAnswer(int code) {
  constexpr int kListed[] = {0x90, 0xA0, 0xC0, 0xC3, 0xCF, 0xD1};
  return std::find(std::begin(kListed), std::end(kListed), code) != std::end(kListed);
}

std::size_t countPackets(std::string_view bytes) {
  std::size_t count = 0;
  while (cutPacket(bytes)) ++count;
  return count;
}

/// How many packets can have completed a body, an upper bound for the cards.
int countBodies(std::string_view bytes) {
  int count = 0;
  while (const std::optional<std::string_view> whole = cutPacket(bytes)) {
    const auto code = static_cast<std::uint8_t>((*whole)[0]);
    const std::optional<Packet> put = readPacket(*whole, bytesBeforeHeaders(kPut));
    if ((code & 0x7F) != kPut || !put) continue;
    const bool ends = std::any_of(put->headers.begin(), put->headers.end(), [](const auto& header) {
      return header.identifier == kEndOfBody;
    });
    if (ends || put->isFinal()) ++count;
  }
  return count;
}

void checkAnswers(std::string_view answers, std::size_t sent) {
  std::size_t count = 0;
  while (!answers.empty()) {
    const std::optional<std::string_view> answer = cutPacket(answers);
    require(answer.has_value(), "responses are whole packets");
    require(isListedAnswer(static_cast<std::uint8_t>((*answer)[0])),
            "responses have allowed codes");
    ++count;
  }
  require(count <= sent, "at most one response per packet");
}

void checkOffer(const std::string& message) {
  try {
    const auto request = host::DirectoryRequest::parse(message);
    require(request.kind() == host::DirectoryRequest::Kind::kWrite, "a card is a write request");
  } catch (const host::DirectoryRefusal&) {
    require(false, "the Directory accepts every card");
  }
}

void checkOutcome(const Outcome& outcome, std::string_view sent) {
  checkAnswers(outcome.answers, countPackets(sent));
  require(outcome.ends.size() == 1 && outcome.ends[0].size() > 5,
          "the end of a link is reported once, with a reason");
  const int told = static_cast<int>(outcome.offered.size()) + outcome.errors;
  require(told <= countBodies(sent), "only complete bodies are offered or reported");
  require(told >= outcome.successes, "success means offered or reported as an error");
  for (const std::string& message : outcome.offered) checkOffer(message);
}

void checkNextPeer() {
  static const std::string card = "BEGIN:VCARD\r\nN:Doe;John\r\nTEL;CELL:1\r\nEND:VCARD\r\n";
  static const std::string push = packet(0x80, {"\x10\0\xFF\xFF", 4}) +
                                  packet(0x82, nameHeader("a.vcf") + header(kEndOfBody, card)) +
                                  packet(0x81);
  const Outcome outcome = serve(push, push.size());
  std::string_view answers = outcome.answers;
  for (int i = 0; i < 3; ++i) {
    const std::optional<std::string_view> answer = cutPacket(answers);
    require(answer && (*answer)[0] == '\xA0', "the next peer gets success");
  }
  require(outcome.offered.size() == 1 &&
              outcome.offered[0].find("<Surname>Doe</Surname>") != std::string::npos,
          "the next peer's card is offered");
}

}  // namespace
}  // namespace fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace fuzz;  // NOLINT: it is the target's own
  constexpr std::uint64_t kCostlyShare = 16;
  static const ScratchRadio radio;
  if (size == 0) return 0;
  const std::string_view input = textOf(data, size);
  const std::string_view sent = input.substr(1);
  // Not smaller, to bound the calls for a large input.
  const std::size_t wish = data[0] == 0 ? sent.size() : data[0];
  const std::size_t pieceSize = std::max<std::size_t>({wish, sent.size() / 512, 1});
  const Outcome outcome = serve(sent, pieceSize);
  checkOutcome(outcome, sent);
  if (isSampled(input, kCostlyShare)) {
    const Tracing tracing;
    require(serve(sent, pieceSize) == outcome, "tracing changes nothing");
  }
  if (isSampled(sent, kCostlyShare)) checkNextPeer();
  return 0;
}
