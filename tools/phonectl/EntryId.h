#pragma once

#include <string>

namespace phonectl {

/// What a command line may name an entry by where a name could mean another one. Returns the
/// complaint, empty when the text is an Id. Stateless.
std::string checkId(const std::string& text);

}  // namespace phonectl
