// getsockopt() and setsockopt() of radio sockets: RFCOMM's and Bluetooth's own options are played,
// the general ones go to the local socket. Results: 0 or a negative error number. Any thread.
#ifndef RADIO_OPTIONS_H_
#define RADIO_OPTIONS_H_

#include <sys/socket.h>

#include "radio/mark.h"

namespace radio {

int GetOption(int fd, const Mark& mark, int level, int name, void* value, socklen_t* length);
int SetOption(int fd, Mark mark, int level, int name, const void* value, socklen_t length);

}  // namespace radio

#endif  // RADIO_OPTIONS_H_
