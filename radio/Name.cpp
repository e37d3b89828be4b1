#include "radio/Name.h"

#include <sys/random.h>
#include <time.h>

#include <atomic>
#include <cstddef>
#include <cstring>

#include "radio/Address.h"
#include "radio/Kernel.h"

namespace radio {
namespace {

constexpr char kPrefix[] = "\0virtual-radio/";
constexpr size_t kPrefixLength = sizeof kPrefix - 1;
constexpr size_t kUniqueDigits = 16;
constexpr size_t kPathOffset = offsetof(sockaddr_un, sun_path);

uint64_t uniqueNumber() {
  uint64_t number = 0;
  const kernel::KeepErrno keep;
  if (getrandom(&number, sizeof number, GRND_NONBLOCK) == static_cast<ssize_t>(sizeof number)) {
    return number;
  }
  // Early in a boot there is no randomness yet; these are different enough.
  static constinit std::atomic<uint32_t> counter{0};
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return (static_cast<uint64_t>(now.tv_nsec) << 32) ^ (static_cast<uint64_t>(getpid()) << 12) ^
         counter.fetch_add(1, std::memory_order_relaxed);
}

bool readFileName(const char* path, size_t length, Place* place) {
  constexpr size_t kNameLength = kFileNameSize - 1;
  if (length < kNameLength) return false;
  const char* name = path + length - kNameLength;
  if (name != path && name[-1] != '/') return false;
  if (!parseDigits(name, &place->address) || name[kDigits] != '-') return false;
  const int tens = name[kDigits + 1] - '0';
  const int ones = name[kDigits + 2] - '0';
  if (tens < 0 || tens > 9 || ones < 0 || ones > 9) return false;
  place->channel = static_cast<uint8_t>(tens * 10 + ones);
  return place->channel >= kFirstChannel && place->channel <= kLastChannel;
}

}  // namespace

Name connectorName(const bdaddr_t& address) {
  Name name;
  name.address.sun_family = AF_UNIX;
  char* at = name.address.sun_path;
  std::memcpy(at, kPrefix, kPrefixLength);
  at += kPrefixLength;
  formatDigits(address, at);
  at += kDigits;
  *at++ = '/';
  const uint64_t unique = uniqueNumber();
  for (size_t i = 0; i < kUniqueDigits; ++i) {
    *at++ = "0123456789abcdef"[(unique >> (4 * i)) & 15];
  }
  name.length =
      static_cast<socklen_t>(kPathOffset + static_cast<size_t>(at - name.address.sun_path));
  return name;
}

void formatFileName(const Place& place, char (&text)[kFileNameSize]) {
  formatDigits(place.address, text);
  text[kDigits] = '-';
  text[kDigits + 1] = static_cast<char>('0' + place.channel / 10);
  text[kDigits + 2] = static_cast<char>('0' + place.channel % 10);
  text[kDigits + 3] = '\0';
}

bool readPlace(const Name& name, Place* place) {
  if (name.address.sun_family != AF_UNIX || name.length <= kPathOffset) return false;
  const char* path = name.address.sun_path;
  size_t length = name.length - kPathOffset;
  if (path[0] != '\0') {
    length = strnlen(
        path, length < sizeof name.address.sun_path ? length : sizeof(sockaddr_un::sun_path));
    return readFileName(path, length, place);
  }
  place->channel = 0;
  return length == kPrefixLength + kDigits + 1 + kUniqueDigits &&
         std::memcmp(path, kPrefix, kPrefixLength) == 0 &&
         parseDigits(path + kPrefixLength, &place->address) && path[kPrefixLength + kDigits] == '/';
}

int localNameOf(int fd, Name* name) {
  name->length = sizeof name->address;
  return kernel::getSockName(fd, &name->address, &name->length);
}

int peerNameOf(int fd, Name* name) {
  name->length = sizeof name->address;
  return kernel::getPeerName(fd, &name->address, &name->length);
}

}  // namespace radio
