#pragma once

#include <bluetooth/bluetooth.h>

#include <optional>
#include <string>

namespace host {

/// Reads a Bluetooth address, "00:11:22:33:44:55" in either case; nullopt for anything else.
std::optional<bdaddr_t> parseAddress(const std::string& text);

/// The address in upper case, as BlueZ writes it; empty if `text` is not an address.
std::string normalAddress(const std::string& text);

}  // namespace host
