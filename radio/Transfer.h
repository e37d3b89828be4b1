#pragma once

/// Bytes on a link, as RFCOMM carries them: a peer that is gone gives ECONNRESET after what it had
/// sent was read, and to send to it gives ECONNRESET without a SIGPIPE.
///
/// Each takes the place of the call of that name, with the C library's results and errno. Data
/// takes no detour: a call that receives something costs nothing more than without the radio, and
/// nothing is allocated. Any thread, signal handlers too; cancellation points as usual.

#include <sys/socket.h>
#include <sys/uio.h>

namespace radio {

/// What a call that read `got` from any descriptor must answer. `wanted`: there was room for data.
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

/// There is room for data in any of them.
bool hasRoom(const iovec* parts, size_t count);

}  // namespace radio
