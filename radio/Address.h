#pragma once

/// Bluetooth addresses as text. Pure functions: any thread, any time, no allocation.

#include <bluetooth/bluetooth.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cstddef>
#include <cstdint>

namespace radio {

/// Hexadecimal digits of an address without separators, as file and socket names carry it.
constexpr int kDigits = 12;

/// Reads "00:11:22:33:44:55"; the text's first group is the last byte of the address. False, and
/// `address` untouched, for anything else.
bool parseAddress(const char* text, bdaddr_t* address);

/// Reads the first kDigits characters of `digits`, which must be upper-case hexadecimal.
bool parseDigits(const char* digits, bdaddr_t* address);

/// Writes kDigits characters and no terminator.
void formatDigits(const bdaddr_t& address, char* digits);

bool sameAddress(const bdaddr_t& one, const bdaddr_t& other);

/// 00:00:00:00:00:00, which in bind() stands for whatever adapter there is.
bool isAny(const bdaddr_t& address);

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

/// Copies what fits and tells the whole length, as every socket call does. Null pointers: nothing
/// is wanted. -EINVAL for a negative length.
int writeAddress(const Place& place, sockaddr* address, socklen_t* length);

/// An address shorter than a whole one is filled with zeros when `whole` is not demanded.
/// -EINVAL for anything but an RFCOMM address, -EFAULT for none.
int readAddress(const sockaddr* address, socklen_t length, bool whole, Place* place);

constexpr char kAddressVariable[] = "VIRTUAL_RADIO_ADDRESS";

enum class OwnAddress { kNone, kBad, kGood };

/// An address that no adapter has (all zeros) is a bad one.
OwnAddress readOwnAddress(bdaddr_t* address);

}  // namespace radio
