#pragma once

#include <cstddef>
#include <string>

#include "framework/Export.h"

/// The part of a UTF-8 text that begins at character `first` (from 0) and has at most `count`
/// characters. A byte that doesn't start a valid sequence counts as one character and is kept.
/// Stateless: any thread.
FRAMEWORK_API std::string mb_substr(const std::string& text, std::size_t first, std::size_t count);
