// The socket address of RFCOMM, as the calls take and give it.
#ifndef RADIO_RC_ADDRESS_H_
#define RADIO_RC_ADDRESS_H_

#include <sys/socket.h>

#include "radio/name.h"

namespace radio {

// Copies what fits and tells the whole length, as every socket call does. Null pointers: nothing
// is wanted. -EINVAL for a negative length.
int WriteAddress(const Place& place, sockaddr* address, socklen_t* length);

// An address shorter than a whole one is filled with zeros when `whole` is not demanded.
// -EINVAL for anything but an RFCOMM address, -EFAULT for none.
int ReadAddress(const sockaddr* address, socklen_t length, bool whole, Place* place);

}  // namespace radio

#endif  // RADIO_RC_ADDRESS_H_
