#pragma once

#include <optional>
#include <string>

namespace phonectl {

/// "30s", "3m", "1h" in seconds, from one second to a day; nullopt for anything else.
std::optional<int> parseDuration(std::string text);

/// In words: "3 minutes".
std::string durationText(int seconds);

}  // namespace phonectl
