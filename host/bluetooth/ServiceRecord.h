#pragma once

#include <string>

namespace host {

/// The name by which our record is told from those of other programs.
inline constexpr const char* kRecordName = "obexphone";

/// The service record that makes other phones offer "share by Bluetooth" to this one: OBEX Object
/// Push on this RFCOMM channel, for vCards of both versions. In BlueZ's XML format.
std::string serviceRecord(int channel);

/// A UUID that nobody else has. BlueZ listens itself, and takes the channel away, for a profile
/// that is registered under a UUID that it knows.
std::string randomUuid();

}  // namespace host
