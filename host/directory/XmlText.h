#pragma once

#include <string>
#include <string_view>

namespace host {

/// Writing the phonebook's requests and answers. Stateless: any thread.

/// What every request and every answer begins and ends with.
inline constexpr std::string_view kXmlHead =
    "<?xml version=\"1.0\" encoding=\"utf-8\"?><Schema name=\"PhoneBook\"><ReasonForMessage>";
inline constexpr std::string_view kXmlTail = "</Schema>";

/// Appends `<name>value</name>`, never the short form of an empty element. Of the value only what
/// would be read as something else is written otherwise: "&", "<", ">", and the carriage return,
/// which an XML reader may turn into a line feed. Every other byte goes out as it is.
void appendElement(std::string& xml, std::string_view name, std::string_view value);

/// How many bytes a byte of a value can grow to.
inline constexpr std::size_t kXmlMaxGrowth = 5;

}  // namespace host
