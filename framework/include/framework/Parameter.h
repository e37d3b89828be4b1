#pragma once

#include <string>
#include <variant>

#include "framework/Export.h"

/// A parameter of a `Method`.
struct FRAMEWORK_API Parameter {
  enum directions {
    IN = 0,   ///< argument
    OUT = 1,  ///< return value
  };
  /// Strings may hold any bytes, including NUL.
  using Value = std::variant<bool, int, std::string>;

  std::string name;
  directions direction = IN;
  Value value;
};
