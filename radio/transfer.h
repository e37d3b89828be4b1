// Bytes on a link, as RFCOMM carries them: a peer that is gone gives ECONNRESET after what it had
// sent was read, and to send to it gives ECONNRESET without a SIGPIPE.
//
// Each takes the place of the call of that name, with the C library's results and errno. Data takes
// no detour: a call that receives something costs nothing more than without the radio, and nothing
// is allocated. Any thread, signal handlers too; cancellation points as usual.
#ifndef RADIO_TRANSFER_H_
#define RADIO_TRANSFER_H_

#include <sys/socket.h>
#include <sys/uio.h>

namespace radio {

// What a call that read `got` from any descriptor must answer. `wanted`: there was room for data.
ssize_t Received(int fd, ssize_t got, bool wanted);

ssize_t ReceiveFrom(int fd, void* buffer, size_t size, int flags, sockaddr* address,
                    socklen_t* length);
ssize_t ReceiveMessage(int fd, msghdr* message, int flags);
int ReceiveMessages(int fd, mmsghdr* messages, unsigned count, int flags, timespec* timeout);

ssize_t Write(int fd, const void* data, size_t size);
ssize_t WriteVector(int fd, const iovec* parts, int count);
ssize_t Send(int fd, const void* data, size_t size, int flags);
ssize_t SendTo(int fd, const void* data, size_t size, int flags, const sockaddr* address,
               socklen_t length);
ssize_t SendMessage(int fd, const msghdr* message, int flags);
int SendMessages(int fd, mmsghdr* messages, unsigned count, int flags);

// There is room for data in any of them.
bool HasRoom(const iovec* parts, size_t count);

}  // namespace radio

#endif  // RADIO_TRANSFER_H_
