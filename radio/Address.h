#pragma once

/// The three forms of an RFCOMM address: text, sockaddr_rc and the names of the Unix sockets that
/// stand in for RFCOMM ones. All functions are thread-safe and allocate nothing.
///
/// A listener is bound to the file FOLDER/001122334455-04. A connecting socket is bound to an
/// abstract name that contains its address before it connects, so that the accepting side learns
/// the caller's address from the kernel without reading from the link.

#include <bluetooth/bluetooth.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cstdint>

namespace radio {

constexpr char kAddressVariable[] = "VIRTUAL_RADIO_ADDRESS";

/// Hexadecimal digits of an address without colons, as in file and socket names.
constexpr int kDigits = 12;

constexpr int kFirstChannel = 1;
constexpr int kLastChannel = 30;

/// "001122334455-04" and a terminator.
constexpr int kFileNameSize = 16;

struct Endpoint {
  bdaddr_t address = {};
  uint8_t channel = 0;  ///< 0 in the name of a connecting socket
};

/// The address of a Unix socket.
struct Name {
  sockaddr_un address = {};
  socklen_t length = 0;
};

/// Parses "00:11:22:33:44:55" in either case; the first group becomes the last byte. Otherwise
/// returns false and leaves `address` unchanged.
bool parseAddress(const char* text, bdaddr_t* address);

/// Parses the first kDigits characters of `digits`; upper case only.
bool parseDigits(const char* digits, bdaddr_t* address);

/// Writes kDigits characters, without a terminator.
void formatDigits(const bdaddr_t& address, char* digits);

bool sameAddress(const bdaddr_t& one, const bdaddr_t& other);

/// 00:00:00:00:00:00, which bind() takes for any adapter.
bool isAny(const bdaddr_t& address);

enum class OwnAddress { kUnset, kInvalid, kValid };

/// This process's address, from VIRTUAL_RADIO_ADDRESS; all zeros is invalid. Not thread-safe while
/// another thread changes the environment.
OwnAddress readOwnAddress(bdaddr_t* address);

/// A unique abstract name for a socket that connects from `address`.
Name connectorName(const bdaddr_t& address);

void formatFileName(const Endpoint& endpoint, char (&text)[kFileNameSize]);

/// False when the name isn't one of the radio's.
bool parseName(const Name& name, Endpoint* endpoint);

/// getsockname() and getpeername() of the Unix socket. Return 0 or a negative errno.
int localNameOf(int fd, Name* name);
int peerNameOf(int fd, Name* name);

/// Copies a sockaddr_rc, cut off at *length, and sets *length to its full size. Does nothing for
/// null pointers. Returns 0, or -EINVAL for a negative length.
int copyToCaller(const Endpoint& endpoint, sockaddr* address, socklen_t* length);

/// Reads a sockaddr_rc. A shorter one is padded with zeros unless `whole` is set. Returns 0,
/// -EINVAL for anything but an RFCOMM address, or -EFAULT for a null pointer.
int readFromCaller(const sockaddr* address, socklen_t length, bool whole, Endpoint* endpoint);

}  // namespace radio
