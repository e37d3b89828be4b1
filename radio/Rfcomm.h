#pragma once

/// What RFCOMM sockets do, played by local ones: the calls that set up and name a link.
///
/// Every function takes the place of the call of that name for a descriptor that is the radio's,
/// with the state that was found in it. Results are the call's own, or a negative error number;
/// they follow the Linux stack's state machine and its error numbers. Any thread.

#include <sys/socket.h>

#include "radio/SocketState.h"

namespace radio {

/// True for what the radio takes over, while it is switched on.
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
