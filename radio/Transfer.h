#pragma once

/// Data transfer with RFCOMM semantics: after a peer has closed, reading returns its remaining data
/// and then fails with ECONNRESET; writing fails with ECONNRESET and raises no SIGPIPE.
///
/// Each function replaces one call, for any descriptor, and returns its result and errno. Receiving
/// data costs no extra system call. Thread-safe, async-signal-safe, cancellation points as usual.

#include <sys/socket.h>
#include <sys/uio.h>

namespace radio {

/// The result for a call that read `got` from any descriptor. `wanted`: its buffer wasn't empty.
ssize_t afterReceiving(int fd, ssize_t got, bool wanted);

ssize_t receiveFrom(int fd, void* buffer, size_t size, int flags, sockaddr* address,
                    socklen_t* length);
ssize_t receiveMessage(int fd, msghdr* message, int flags);
int receiveMessages(int fd, mmsghdr* messages, unsigned count, int flags, timespec* timeout);

ssize_t writeData(int fd, const void* data, size_t size);
ssize_t writeVector(int fd, const iovec* parts, int count);
ssize_t sendData(int fd, const void* data, size_t size, int flags);
ssize_t sendDataTo(int fd, const void* data, size_t size, int flags, const sockaddr* address,
                   socklen_t length);
ssize_t sendMessage(int fd, const msghdr* message, int flags);
int sendMessages(int fd, mmsghdr* messages, unsigned count, int flags);

/// Whether any of the buffers isn't empty.
bool hasRoom(const iovec* parts, size_t count);

}  // namespace radio
