#pragma once

#include <optional>
#include <string>

namespace phonectl {

/// "30s", "3m", "1h" in seconds, from a second to a day; -1 for "always"; none for anything else.
std::optional<int> visibleTime(const std::string& text);

/// For sentences: "3 minutes".
std::string shownTime(int seconds);

}  // namespace phonectl
