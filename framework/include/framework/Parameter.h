#pragma once

#include <string>
#include <variant>

#include "framework/Export.h"

/// One named, typed and directed value of a `Method`. A plain value: copy it freely.
struct FRAMEWORK_API Parameter {
  enum directions {
    IN = 0,   ///< an argument
    OUT = 1,  ///< a returned value
  };
  /// A string may hold any bytes, NUL included.
  using Value = std::variant<bool, int, std::string>;

  std::string name;
  directions direction = IN;
  Value value;
};
