#include "host/bluetooth/SdpRecords.h"

#include <algorithm>

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

/// How many bytes of an element of this size index are its value, or its length when they are
/// `lengthBytes`.
constexpr std::size_t kSizes[] = {1, 2, 4, 8, 16};

/// Takes the first element off `rest`. None when there is none, or one that is cut off.
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

/// Of a UUID of any length, which are the same number in the base of all Bluetooth UUIDs.
std::uint32_t shortUuid(Bytes uuid) {
  return numberIn(uuid.first(std::min<std::size_t>(uuid.size(), 4)));
}

/// The channel of one stack of protocols, each a sequence of its UUID and its parameters.
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

/// A record may offer several stacks.
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

}  // namespace host
