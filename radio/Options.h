#pragma once

/// getsockopt() and setsockopt() of radio sockets: RFCOMM and Bluetooth options are emulated, the
/// SOL_SOCKET ones go to the Unix socket. Return 0 or a negative errno. Thread-safe.

#include <sys/socket.h>

#include "radio/SocketState.h"

namespace radio {

int getOption(int fd, const SocketState& state, int level, int name, void* value,
              socklen_t* length);
int setOption(int fd, SocketState state, int level, int name, const void* value, socklen_t length);

}  // namespace radio
