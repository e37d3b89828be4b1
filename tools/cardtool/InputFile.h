#pragma once

#include <cstddef>
#include <string>

namespace cardtool {

/// What is read in one go is never more than the phone takes in one push.
inline constexpr std::size_t kMaxInput = std::size_t{4} << 20;

/// The whole of a file, or of standard input for "-". Throws Failure when it can't be opened or
/// read, is a folder, or holds more than `kMaxInput` bytes. Stateless.
std::string readInput(const std::string& path);

}  // namespace cardtool
