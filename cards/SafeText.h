#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace cards {

// Text written by strangers, made safe for a terminal. Stateless: any thread.

/// Longest value shown to people, in characters.
inline constexpr std::size_t kMaxShown = 200;

/// Returns `text` as one line of printable UTF-8. Control characters, bidirectional overrides,
/// invisible, private-use and unassigned characters appear as escapes (`\n`, `\x1b`, `\u202e`);
/// each byte that isn't valid UTF-8 becomes U+FFFD. The zero-width joiners stay, since some scripts
/// need them. Text beyond `limit` characters is replaced by "... (123 more bytes)".
std::string safeText(std::string_view text, std::size_t limit = std::string_view::npos);

/// The same for each line of a CRLF-terminated text; the line ends stay.
std::string safeLines(std::string_view text);

/// Escapes the same characters in serialized JSON (`\u202e`). `json` must be valid UTF-8.
std::string safeJson(std::string_view json);

/// The number of terminal columns taken by a result of safeText().
std::size_t displayWidth(std::string_view safe);

}  // namespace cards
