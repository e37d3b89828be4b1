#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>

namespace contacts {

/// What is read in one go is never more than the phone takes in one push.
inline constexpr std::size_t kMaxInput = std::size_t{4} << 20;

/// Why a file can't be used: a sentence for the user, safe to show.
class InputError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// The whole of a file, or of standard input for "-". Throws InputError when it can't be opened or
/// read, is a folder, or holds more than `maxBytes` (whole MiB). Stateless.
std::string readInput(const std::string& path, std::size_t maxBytes = kMaxInput);

/// How such a path is called in sentences: safe to show.
std::string shownInput(const std::string& path);

}  // namespace contacts
