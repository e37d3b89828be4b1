// What RFCOMM sockets do, played by local ones: the calls that set up and name a link.
//
// Every function takes the place of the call of that name for a descriptor that is the radio's,
// with the mark that was found in it. Results are the call's own, or a negative error number; they
// follow the Linux stack's state machine and its error numbers. Any thread.
#ifndef RADIO_RFCOMM_H_
#define RADIO_RFCOMM_H_

#include <sys/socket.h>

#include "radio/mark.h"

namespace radio {

// True for what the radio takes over, while it is switched on.
bool IsRadioSocket(int family, int type, int protocol);

int Open(int type);
int Bind(int fd, Mark mark, const sockaddr* address, socklen_t length);
int Listen(int fd, Mark mark, int backlog);
int Connect(int fd, Mark mark, const sockaddr* address, socklen_t length);
int Accept(int fd, const Mark& mark, sockaddr* address, socklen_t* length, int flags);
int Shutdown(int fd, Mark mark);
int LocalName(int fd, const Mark& mark, sockaddr* address, socklen_t* length);
int PeerName(int fd, const Mark& mark, sockaddr* address, socklen_t* length);

}  // namespace radio

#endif  // RADIO_RFCOMM_H_
