#include "radio/Address.h"

#include <bluetooth/rfcomm.h>
#include <sys/random.h>
#include <time.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "radio/Kernel.h"

namespace radio {
namespace {

constexpr size_t kBytes = 6;
constexpr char kPrefix[] = "\0virtual-radio/";
constexpr size_t kPrefixLength = sizeof kPrefix - 1;
constexpr size_t kUniqueDigits = 16;
constexpr size_t kPathOffset = offsetof(sockaddr_un, sun_path);

int digitValue(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
  return -1;
}

char toUpper(char digit) {
  return digit >= 'a' && digit <= 'f' ? static_cast<char>(digit - 'a' + 'A') : digit;
}

uint64_t uniqueNumber() {
  uint64_t number = 0;
  const kernel::KeepErrno keep;
  if (getrandom(&number, sizeof number, GRND_NONBLOCK) == static_cast<ssize_t>(sizeof number)) {
    return number;
  }
  // The kernel has no randomness early in a boot; these differ enough.
  static constinit std::atomic<uint32_t> counter{0};
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return (static_cast<uint64_t>(now.tv_nsec) << 32) ^ (static_cast<uint64_t>(getpid()) << 12) ^
         counter.fetch_add(1, std::memory_order_relaxed);
}

bool parseFileName(const char* path, size_t length, Endpoint* endpoint) {
  constexpr size_t kNameLength = kFileNameSize - 1;
  if (length < kNameLength) return false;
  const char* name = path + length - kNameLength;
  if (name != path && name[-1] != '/') return false;
  if (!parseDigits(name, &endpoint->address) || name[kDigits] != '-') return false;
  const int tens = name[kDigits + 1] - '0';
  const int ones = name[kDigits + 2] - '0';
  if (tens < 0 || tens > 9 || ones < 0 || ones > 9) return false;
  endpoint->channel = static_cast<uint8_t>(tens * 10 + ones);
  return endpoint->channel >= kFirstChannel && endpoint->channel <= kLastChannel;
}

}  // namespace

bool parseAddress(const char* text, bdaddr_t* address) {
  char digits[kDigits];
  if (strnlen(text, 18) != 17) return false;
  for (size_t group = 0; group < kBytes; ++group) {
    if (group > 0 && text[3 * group - 1] != ':') return false;
    digits[2 * group] = toUpper(text[3 * group]);
    digits[2 * group + 1] = toUpper(text[3 * group + 1]);
  }
  return parseDigits(digits, address);
}

bool parseDigits(const char* digits, bdaddr_t* address) {
  bdaddr_t result = {};
  for (size_t i = 0; i < kBytes; ++i) {
    const int high = digitValue(digits[2 * i]);
    const int low = high < 0 ? -1 : digitValue(digits[2 * i + 1]);
    if (low < 0) return false;
    result.b[kBytes - 1 - i] = static_cast<uint8_t>(high * 16 + low);
  }
  *address = result;
  return true;
}

void formatDigits(const bdaddr_t& address, char* digits) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  for (size_t i = 0; i < kBytes; ++i) {
    const uint8_t byte = address.b[kBytes - 1 - i];
    digits[2 * i] = kHex[byte >> 4];
    digits[2 * i + 1] = kHex[byte & 15];
  }
}

bool sameAddress(const bdaddr_t& one, const bdaddr_t& other) {
  return std::memcmp(&one, &other, sizeof one) == 0;
}

bool isAny(const bdaddr_t& address) { return sameAddress(address, bdaddr_t{}); }

OwnAddress readOwnAddress(bdaddr_t* address) {
  const char* text = std::getenv(kAddressVariable);  // NOLINT(concurrency-mt-unsafe): only read
  if (text == nullptr || *text == '\0') return OwnAddress::kUnset;
  return parseAddress(text, address) && !isAny(*address) ? OwnAddress::kValid
                                                         : OwnAddress::kInvalid;
}

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

void formatFileName(const Endpoint& endpoint, char (&text)[kFileNameSize]) {
  formatDigits(endpoint.address, text);
  text[kDigits] = '-';
  text[kDigits + 1] = static_cast<char>('0' + endpoint.channel / 10);
  text[kDigits + 2] = static_cast<char>('0' + endpoint.channel % 10);
  text[kDigits + 3] = '\0';
}

bool parseName(const Name& name, Endpoint* endpoint) {
  if (name.address.sun_family != AF_UNIX || name.length <= kPathOffset) return false;
  const char* path = name.address.sun_path;
  size_t length = name.length - kPathOffset;
  if (path[0] != '\0') {
    length = strnlen(
        path, length < sizeof name.address.sun_path ? length : sizeof(sockaddr_un::sun_path));
    return parseFileName(path, length, endpoint);
  }
  endpoint->channel = 0;
  return length == kPrefixLength + kDigits + 1 + kUniqueDigits &&
         std::memcmp(path, kPrefix, kPrefixLength) == 0 &&
         parseDigits(path + kPrefixLength, &endpoint->address) &&
         path[kPrefixLength + kDigits] == '/';
}

int localNameOf(int fd, Name* name) {
  name->length = sizeof name->address;
  return kernel::getSockName(fd, &name->address, &name->length);
}

int peerNameOf(int fd, Name* name) {
  name->length = sizeof name->address;
  return kernel::getPeerName(fd, &name->address, &name->length);
}

int copyToCaller(const Endpoint& endpoint, sockaddr* address, socklen_t* length) {
  if (address == nullptr || length == nullptr) return 0;
  if (*length > INT_MAX) return -EINVAL;
  sockaddr_rc result;
  std::memset(&result, 0, sizeof result);  // also the padding, which the program gets
  result.rc_family = AF_BLUETOOTH;
  result.rc_bdaddr = endpoint.address;
  result.rc_channel = endpoint.channel;
  std::memcpy(address, &result, std::min<size_t>(*length, sizeof result));
  *length = sizeof result;
  return 0;
}

int readFromCaller(const sockaddr* address, socklen_t length, bool whole, Endpoint* endpoint) {
  if (address == nullptr) return -EFAULT;
  if (length < (whole ? sizeof(sockaddr_rc) : sizeof(sa_family_t)) || length > INT_MAX) {
    return -EINVAL;
  }
  sockaddr_rc given = {};
  std::memcpy(&given, address, std::min<size_t>(length, sizeof given));
  if (given.rc_family != AF_BLUETOOTH) return -EINVAL;
  endpoint->address = given.rc_bdaddr;
  endpoint->channel = given.rc_channel;
  return 0;
}

}  // namespace radio
