#pragma once

/// The socket calls that set up and name a link, emulated with Unix sockets.
///
/// Each function replaces one call for a radio socket whose state the caller has read. States and
/// error codes follow the Linux RFCOMM stack. Returns the call's result or a negative errno.
/// Thread-safe.

#include <sys/socket.h>

#include "radio/SocketState.h"

namespace radio {

/// Whether socket() is emulated: for an RFCOMM stream while VIRTUAL_RADIO_ADDRESS is set.
bool isRadioSocket(int family, int type, int protocol);

int openSocket(int type);
int bindSocket(int fd, SocketState state, const sockaddr* address, socklen_t length);
int listenOn(int fd, SocketState state, int backlog);
int connectTo(int fd, SocketState state, const sockaddr* address, socklen_t length);
int acceptLink(int fd, const SocketState& state, sockaddr* address, socklen_t* length, int flags);
int shutDownLink(int fd, SocketState state);
int localName(int fd, const SocketState& state, sockaddr* address, socklen_t* length);
int peerName(int fd, const SocketState& state, sockaddr* address, socklen_t* length);

}  // namespace radio
