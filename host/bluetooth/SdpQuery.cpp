#include "host/bluetooth/SdpQuery.h"

#include <bluetooth/bluetooth.h>
#include <bluetooth/l2cap.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <span>
#include <system_error>

#include "host/bluetooth/Address.h"

namespace host {
namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::uint16_t kProtocols = 0x0004;
constexpr std::uint16_t kName = 0x0100;
constexpr std::uint32_t kRfcomm = 0x0003;
constexpr int kMaxChannel = 30;

enum Type : unsigned { kUnsigned = 1, kUuid = 3, kText = 4, kSequence = 6, kAlternatives = 7 };

struct Element {
  unsigned type;
  Bytes value;
};

std::uint32_t numberIn(Bytes bytes) {
  std::uint32_t number = 0;
  for (const std::uint8_t byte : bytes) number = number << 8 | byte;
  return number;
}

/// Bytes of the value by size index 0 to 4; bytes of its length by size index 5 to 7, less 5.
constexpr std::size_t kSizes[] = {1, 2, 4, 8, 16};

/// Removes the first element from `rest`; nullopt if there is none or it is truncated.
std::optional<Element> takeElement(Bytes& rest) {
  if (rest.empty()) return std::nullopt;
  const unsigned type = rest[0] >> 3U;
  const unsigned index = rest[0] & 7U;
  rest = rest.subspan(1);
  std::size_t size = 0;
  if (index < 5) {
    size = type == 0 ? 0 : kSizes[index];
  } else {
    const std::size_t lengthBytes = kSizes[index - 5];
    if (rest.size() < lengthBytes) return std::nullopt;
    size = numberIn(rest.first(lengthBytes));
    rest = rest.subspan(lengthBytes);
  }
  if (rest.size() < size) return std::nullopt;
  const Element element{type, rest.first(size)};
  rest = rest.subspan(size);
  return element;
}

std::optional<Element> takeElement(Bytes& rest, unsigned type) {
  const auto element = takeElement(rest);
  return element && element->type == type ? element : std::nullopt;
}

/// The 32-bit form of a UUID of any length: its first bytes, if it is based on the Bluetooth base
/// UUID.
std::uint32_t shortUuid(Bytes uuid) {
  return numberIn(uuid.first(std::min<std::size_t>(uuid.size(), 4)));
}

/// The channel in a protocol stack: a sequence for each protocol, with its UUID and parameters.
int channelIn(Bytes stack) {
  while (const auto protocol = takeElement(stack, kSequence)) {
    Bytes parts = protocol->value;
    const auto uuid = takeElement(parts, kUuid);
    if (!uuid || shortUuid(uuid->value) != kRfcomm) continue;
    const auto channel = takeElement(parts, kUnsigned);
    if (!channel || channel->value.size() != 1) return 0;
    const int number = channel->value[0];
    return number <= kMaxChannel ? number : 0;
  }
  return 0;
}

/// A record may list alternative stacks.
int channelIn(const Element& protocols) {
  if (protocols.type == kSequence) return channelIn(protocols.value);
  if (protocols.type != kAlternatives) return 0;
  Bytes stacks = protocols.value;
  while (const auto stack = takeElement(stacks, kSequence)) {
    if (const int channel = channelIn(stack->value)) return channel;
  }
  return 0;
}

std::optional<SdpRecord> readRecord(Bytes attributes) {
  SdpRecord record;
  while (!attributes.empty()) {
    const auto number = takeElement(attributes, kUnsigned);
    const auto value = takeElement(attributes);
    if (!number || number->value.size() != 2 || !value) return std::nullopt;
    const std::uint32_t attribute = numberIn(number->value);
    if (attribute == kProtocols) record.channel = channelIn(*value);
    if (attribute == kName && value->type == kText)
      record.name.assign(value->value.begin(), value->value.end());
  }
  return record;
}

constexpr std::uint16_t kSdpPsm = 1;
constexpr std::uint8_t kErrorResponse = 0x01;
constexpr std::uint8_t kSearchRequest = 0x06;
constexpr std::uint8_t kSearchResponse = 0x07;
constexpr std::size_t kHead = 5;
constexpr std::size_t kMaxPacket = 65535 + kHead;
constexpr std::size_t kMaxContinuation = 16;
constexpr std::size_t kMaxLists = 65536;
/// bluetoothd's socket for local programs.
constexpr const char* kLocalSocket = "/run/sdp";
constexpr std::chrono::seconds kLocalTimeout{5};
constexpr int kMaxPackets = 256;

std::string reasonOf(int error) { return std::generic_category().message(error); }

sockaddr_l2 place(const bdaddr_t& address, std::uint16_t port) {
  sockaddr_l2 place{};
  place.l2_family = AF_BLUETOOTH;
  place.l2_bdaddr = address;
  place.l2_psm = htobs(port);
  return place;
}

void append16(std::vector<std::uint8_t>& bytes, std::size_t number) {
  bytes.push_back(static_cast<std::uint8_t>(number >> 8 & 0xFF));
  bytes.push_back(static_cast<std::uint8_t>(number & 0xFF));
}

std::size_t read16(const std::vector<std::uint8_t>& bytes, std::size_t at) {
  return static_cast<std::size_t>(bytes[at]) << 8 | bytes[at + 1];
}

/// Asks for protocols and name of all Object Push records.
std::vector<std::uint8_t> request(std::uint16_t transaction,
                                  const std::vector<std::uint8_t>& continuation) {
  constexpr std::uint8_t kQuestion[] = {0x35, 0x03, 0x19, 0x11, 0x05, 0xFF, 0xFF, 0x35,
                                        0x06, 0x09, 0x00, 0x04, 0x09, 0x01, 0x00};
  std::vector<std::uint8_t> packet{kSearchRequest};
  append16(packet, transaction);
  append16(packet, sizeof kQuestion + 1 + continuation.size());
  packet.insert(packet.end(), std::begin(kQuestion), std::end(kQuestion));
  packet.push_back(static_cast<std::uint8_t>(continuation.size()));
  packet.insert(packet.end(), continuation.begin(), continuation.end());
  return packet;
}

bool fail(SdpQuery::Answer& answer, const std::string& problem) {
  answer.outcome = SdpQuery::Outcome::kUnreachable;
  answer.problem = problem;
  return false;
}

}  // namespace

std::optional<std::vector<SdpRecord>> readSdpRecords(std::span<const std::uint8_t> bytes) {
  std::vector<SdpRecord> records;
  const auto lists = takeElement(bytes, kSequence);
  if (!lists) return std::nullopt;
  Bytes rest = lists->value;
  while (!rest.empty()) {
    const auto attributes = takeElement(rest, kSequence);
    if (!attributes) return std::nullopt;
    const auto record = readRecord(attributes->value);
    if (!record) return std::nullopt;
    records.push_back(*record);
  }
  return records;
}

SdpQuery::SdpQuery() : m_cancel(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

SdpQuery::~SdpQuery() {
  if (m_cancel >= 0) ::close(m_cancel);
}

void SdpQuery::cancel() {
  if (m_cancel >= 0) eventfd_write(m_cancel, 1);
}

SdpQuery::Answer SdpQuery::ask(const std::string& address, const std::string& source,
                               std::chrono::milliseconds timeout) {
  Answer answer;
  const int socket =
      ::socket(AF_BLUETOOTH, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, BTPROTO_L2CAP);
  if (socket < 0) {
    answer.outcome =
        errno == EAFNOSUPPORT || errno == EPROTONOSUPPORT ? Outcome::kNoBluetooth : answer.outcome;
    answer.problem = "can't open a Bluetooth socket: " + reasonOf(errno);
    return answer;
  }
  m_deadline = Clock::now() + timeout;
  if (connect(socket, address, source, answer)) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(m_deadline - Clock::now());
    answer = askOver(socket, left);
  }
  ::close(socket);
  return answer;
}

bool SdpQuery::connect(int socket, const std::string& address, const std::string& source,
                       Answer& answer) {
  const auto to = parseAddress(address);
  const auto from = parseAddress(source);
  if (!to) return fail(answer, "\"" + address + "\" is not a Bluetooth address");
  if (from) {
    const sockaddr_l2 own = place(*from, 0);
    if (::bind(socket, reinterpret_cast<const sockaddr*>(&own), sizeof own) != 0)
      return fail(answer, "the adapter " + source + " can't be used: " + reasonOf(errno));
  }
  const sockaddr_l2 peer = place(*to, kSdpPsm);
  const int result = ::connect(socket, reinterpret_cast<const sockaddr*>(&peer), sizeof peer);
  if (result == 0) return true;
  if (errno != EINPROGRESS && errno != EAGAIN) return fail(answer, reasonOf(errno));
  if (!waitFor(socket, POLLOUT, answer)) return false;
  int error = 0;
  socklen_t size = sizeof error;
  if (getsockopt(socket, SOL_SOCKET, SO_ERROR, &error, &size) != 0) error = errno;
  return error == 0 || fail(answer, reasonOf(error));
}

SdpQuery::Answer SdpQuery::askLocal() {
  Answer answer;
  const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un place{};
  place.sun_family = AF_UNIX;
  std::strncpy(place.sun_path, kLocalSocket, sizeof place.sun_path - 1);
  if (socket < 0 || ::connect(socket, reinterpret_cast<const sockaddr*>(&place), sizeof place) != 0)
    fail(answer, std::string(kLocalSocket) + ": " + reasonOf(errno));
  else
    answer = askOver(socket, kLocalTimeout);
  if (socket >= 0) ::close(socket);
  return answer;
}

SdpQuery::Answer SdpQuery::askOver(int socket, std::chrono::milliseconds timeout) {
  m_deadline = Clock::now() + timeout;
  m_lists.clear();
  m_continuation.clear();
  Answer answer;
  for (int i = 0; i < kMaxPackets; ++i) {
    if (!exchange(socket, answer)) return answer;
    if (!m_continuation.empty()) continue;
    auto records = readSdpRecords(m_lists);
    if (!records) {
      fail(answer, "malformed answer");
      return answer;
    }
    answer.outcome = Outcome::kAnswered;
    answer.records = std::move(*records);
    return answer;
  }
  fail(answer, "endless answer");
  return answer;
}

bool SdpQuery::exchange(int socket, Answer& answer) {
  ++m_transaction;
  const std::vector<std::uint8_t> question = request(m_transaction, m_continuation);
  if (!waitFor(socket, POLLOUT, answer)) return false;
  if (::send(socket, question.data(), question.size(), MSG_NOSIGNAL | MSG_DONTWAIT) < 0)
    return fail(answer, reasonOf(errno));
  if (!waitFor(socket, POLLIN, answer)) return false;
  std::vector<std::uint8_t> packet(kMaxPacket);
  const ssize_t got = ::recv(socket, packet.data(), packet.size(), MSG_DONTWAIT);
  if (got < 0) return fail(answer, reasonOf(errno));
  packet.resize(static_cast<std::size_t>(got));
  return take(packet, answer);
}

bool SdpQuery::take(const std::vector<std::uint8_t>& packet, Answer& answer) {
  constexpr const char* kMalformed = "malformed answer";
  if (packet.empty()) return fail(answer, "connection closed by the device");
  if (packet.size() < kHead || read16(packet, 1) != m_transaction ||
      read16(packet, 3) != packet.size() - kHead)
    return fail(answer, kMalformed);
  if (packet[0] == kErrorResponse) return fail(answer, "service discovery refused");
  if (packet[0] != kSearchResponse || packet.size() < kHead + 3) return fail(answer, kMalformed);
  const std::size_t count = read16(packet, kHead);
  const std::size_t begin = kHead + 2;
  if (packet.size() < begin + count + 1) return fail(answer, kMalformed);
  const std::size_t state = packet[begin + count];
  if (state > kMaxContinuation || packet.size() != begin + count + 1 + state)
    return fail(answer, kMalformed);
  const auto at = [&](std::size_t offset) {
    return packet.begin() + static_cast<std::ptrdiff_t>(offset);
  };
  m_lists.insert(m_lists.end(), at(begin), at(begin + count));
  m_continuation.assign(at(begin + count + 1), packet.end());
  return m_lists.size() <= kMaxLists || fail(answer, "answer too large");
}

bool SdpQuery::waitFor(int socket, short events, Answer& answer) {
  while (true) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(m_deadline - Clock::now());
    if (left.count() <= 0) return fail(answer, "no answer");
    pollfd waiting[] = {{socket, events, 0}, {m_cancel, POLLIN, 0}};
    const int ready = poll(waiting, 2, static_cast<int>(left.count()));
    if (ready < 0 && errno != EINTR) return fail(answer, reasonOf(errno));
    if (ready > 0 && waiting[1].revents != 0) return fail(answer, "cancelled");
    if (ready > 0 && waiting[0].revents != 0) return true;
  }
}

}  // namespace host
