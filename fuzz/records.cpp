// The attribute lists in a device's answer to a service discovery request.
//
// Contract: a channel is 0 to 30; a name is part of the input; there are no more records than
// bytes; truncated input is refused.

#include <span>
#include <string_view>

#include "fuzz/support/Contract.h"
#include "host/bluetooth/SdpQuery.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::span<const std::uint8_t> bytes(data, size);
  const auto records = host::readSdpRecords(bytes);
  if (!records) return 0;
  fuzz::require(records->size() <= size, "there are no more records than bytes");
  const std::string_view text = fuzz::textOf(data, size);
  for (const host::SdpRecord& record : *records) {
    fuzz::require(record.channel >= 0 && record.channel <= 30, "a channel is 0 to 30");
    fuzz::require(text.find(record.name) != std::string_view::npos, "a name is part of the input");
  }
  fuzz::require(!host::readSdpRecords(bytes.first(1)), "truncated input is refused");
  return 0;
}
