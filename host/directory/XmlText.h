#pragma once

#include <string>
#include <string_view>

namespace host {

// Helpers to write the phonebook's requests and answers. Thread-safe.

/// Start and end of every request and answer.
inline constexpr std::string_view kXmlHead =
    "<?xml version=\"1.0\" encoding=\"utf-8\"?><Schema name=\"PhoneBook\"><ReasonForMessage>";
inline constexpr std::string_view kXmlTail = "</Schema>";

/// Appends `<name>value</name>`, also for an empty value. Escapes "&", "<", ">" and the carriage
/// return, which XML parsers normalise to a line feed; every other byte is copied as it is.
void appendElement(std::string& xml, std::string_view name, std::string_view value);

/// The size of the longest escape of one byte.
inline constexpr std::size_t kXmlMaxGrowth = 5;

}  // namespace host
