#pragma once

/// Bluetooth addresses as text. Pure functions: any thread, any time, no allocation.

#include <bluetooth/bluetooth.h>

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

}  // namespace radio
