#pragma once

#include <cstddef>
#include <string>

#include "framework/Export.h"

/// Returns at most `count` characters of a UTF-8 text, starting at character `first` (0-based). A
/// byte that doesn't start a valid sequence counts as one character and is kept as it is. Any
/// thread may call.
FRAMEWORK_API std::string mb_substr(const std::string& text, std::size_t first, std::size_t count);
