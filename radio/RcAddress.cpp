#include "radio/RcAddress.h"

#include <bluetooth/bluetooth.h>
#include <bluetooth/rfcomm.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstring>

namespace radio {

int writeAddress(const Place& place, sockaddr* address, socklen_t* length) {
  if (address == nullptr || length == nullptr) return 0;
  if (*length > INT_MAX) return -EINVAL;
  sockaddr_rc result;
  std::memset(&result, 0, sizeof result);  // the padding too: it goes to the program
  result.rc_family = AF_BLUETOOTH;
  result.rc_bdaddr = place.address;
  result.rc_channel = place.channel;
  std::memcpy(address, &result, std::min<size_t>(*length, sizeof result));
  *length = sizeof result;
  return 0;
}

int readAddress(const sockaddr* address, socklen_t length, bool whole, Place* place) {
  if (address == nullptr) return -EFAULT;
  if (length < (whole ? sizeof(sockaddr_rc) : sizeof(sa_family_t)) || length > INT_MAX) {
    return -EINVAL;
  }
  sockaddr_rc given = {};
  std::memcpy(&given, address, std::min<size_t>(length, sizeof given));
  if (given.rc_family != AF_BLUETOOTH) return -EINVAL;
  place->address = given.rc_bdaddr;
  place->channel = given.rc_channel;
  return 0;
}

}  // namespace radio
