#include "host/bluetooth/Address.h"

#include <glib.h>

namespace host {

std::optional<bdaddr_t> parseAddress(const std::string& text) {
  constexpr std::size_t kLength = 17;
  if (text.size() != kLength) return std::nullopt;
  bdaddr_t address{};
  for (std::size_t i = 0; i < 6; ++i) {
    const int high = g_ascii_xdigit_value(text[3 * i]);
    const int low = g_ascii_xdigit_value(text[3 * i + 1]);
    if (high < 0 || low < 0 || (i < 5 && text[3 * i + 2] != ':')) return std::nullopt;
    address.b[5 - i] = static_cast<std::uint8_t>(high << 4 | low);
  }
  return address;
}

std::string normalAddress(const std::string& text) {
  if (!parseAddress(text)) return {};
  std::string address = text;
  for (char& c : address) c = g_ascii_toupper(c);
  return address;
}

}  // namespace host
