#pragma once

#include <string>

namespace host {

/// What is wrong with something, and what to do about it: two sentences without an end, not safe to
/// show, since they may name files. Both are empty when nothing is wrong. A plain value.
struct Problem {
  std::string text;
  std::string remedy;

  [[nodiscard]] bool none() const { return text.empty(); }
};

}  // namespace host
