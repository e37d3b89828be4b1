#pragma once

/// The names of the local sockets that stand for radio ones, which carry the address.
///
/// A listener is bound to the file FOLDER/001122334455-04. A connecting socket is bound to an
/// abstract name with its address before it connects, so that the accepting side learns who it is
/// from the kernel, without reading a byte and without waiting for the other program.

#include <bluetooth/bluetooth.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cstdint>

namespace radio {

constexpr int kFirstChannel = 1;
constexpr int kLastChannel = 30;

/// Room for "001122334455-04" and a terminator.
constexpr int kFileNameSize = 16;

struct Place {
  bdaddr_t address = {};
  uint8_t channel = 0;  ///< 0 in the name of a connecting socket
};

struct Name {
  sockaddr_un address = {};
  socklen_t length = 0;
};

/// A new abstract name for a connecting socket of that address; no two are the same.
Name connectorName(const bdaddr_t& address);

void formatFileName(const Place& place, char (&text)[kFileNameSize]);

/// What the name says, when it is one of the radio's.
bool readPlace(const Name& name, Place* place);

/// The names the kernel has for the two ends of a socket: 0 or a negative error number.
int localNameOf(int fd, Name* name);
int peerNameOf(int fd, Name* name);

}  // namespace radio
