#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace host {

/// One service of a device, as its service discovery tells of it.
struct SdpRecord {
  int channel = 0;   ///< RFCOMM, 1 to 30; 0 when it names none
  std::string name;  ///< not safe to show
};

/// Reads the attribute lists of a service discovery answer: a sequence with one list of numbers and
/// values for each record. None when the bytes, which any device in reach may have sent, are
/// anything else. Records that name neither channel nor name are in it, too.
///
/// Stateless: any thread.
std::optional<std::vector<SdpRecord>> readSdpRecords(std::span<const std::uint8_t> bytes);

}  // namespace host
