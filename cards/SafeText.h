#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace cards {

/// What a terminal may be shown of a text that a stranger wrote: one line of printable characters.
///
/// Control characters, those that turn the direction of writing, invisible ones and unassigned ones
/// are shown by their codes (`\n`, `\x1b`, `\u202e`), so that no text can steer a terminal, hide
/// something or look like another line; bytes that aren't UTF-8 become the replacement character.
/// Of the invisible ones the two joiners stay, which some languages need. After `limit` characters
/// the rest is left out and counted: "... (123 more bytes)".
///
/// Stateless: any thread.
std::string safeText(std::string_view text, std::size_t limit = std::string_view::npos);

/// A JSON text with the same characters escaped (`\u202e`), so that it may be shown too. The text
/// must be valid UTF-8, as a serializer makes it.
std::string safeJson(std::string_view json);

/// How many columns a text that came from `safeText` takes on a terminal.
std::size_t displayWidth(std::string_view safe);

}  // namespace cards
