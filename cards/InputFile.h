#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>

namespace cards {

/// The largest card that the phone accepts in one push.
inline constexpr std::size_t kMaxInput = std::size_t{4} << 20;

/// A file can't be used. what() is a message for the user, safe to print.
class InputError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// Reads a whole file, or standard input if `path` is "-". Throws InputError if it can't be opened
/// or read, or holds more than `maxBytes` (a multiple of 1 MiB).
std::string readInput(const std::string& path, std::size_t maxBytes = kMaxInput);

/// `path` for messages: safe to print, "standard input" for "-".
std::string shownInput(const std::string& path);

}  // namespace cards
