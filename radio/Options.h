#pragma once

/// getsockopt() and setsockopt() of radio sockets: RFCOMM's and Bluetooth's own options are played,
/// the general ones go to the local socket. Results: 0 or a negative error number. Any thread.

#include <sys/socket.h>

#include "radio/SocketState.h"

namespace radio {

int getOption(int fd, const SocketState& state, int level, int name, void* value,
              socklen_t* length);
int setOption(int fd, SocketState state, int level, int name, const void* value, socklen_t length);

}  // namespace radio
