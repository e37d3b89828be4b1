#pragma once

/// The socket address of RFCOMM, as the calls take and give it.

#include <sys/socket.h>

#include "radio/Name.h"

namespace radio {

/// Copies what fits and tells the whole length, as every socket call does. Null pointers: nothing
/// is wanted. -EINVAL for a negative length.
int writeAddress(const Place& place, sockaddr* address, socklen_t* length);

/// An address shorter than a whole one is filled with zeros when `whole` is not demanded.
/// -EINVAL for anything but an RFCOMM address, -EFAULT for none.
int readAddress(const sockaddr* address, socklen_t length, bool whole, Place* place);

}  // namespace radio
