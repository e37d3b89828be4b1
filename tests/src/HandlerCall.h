#pragma once

#include <cctype>
#include <cstdio>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace test {

/// The bytes as printable text.
inline std::string readable(std::string_view bytes) {
  std::string text;
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    if (std::isprint(byte) && c != '\\') {
      text += c;
    } else {
      char escaped[8];
      static_cast<void>(std::snprintf(escaped, sizeof escaped, "\\x%02X", byte));
      text += escaped;
    }
  }
  return text;
}

/// A parameter as passed to a handler.
struct PropertyParameter {
  std::string name;
  std::optional<std::string> value;

  bool operator==(const PropertyParameter&) const = default;
};

/// A call of a handler, with copies of its arguments.
struct HandlerCall {
  enum class Kind { Group, Property, Data, End };

  Kind kind;
  std::string text;  ///< group, property name or data
  std::vector<PropertyParameter> parameters;

  bool operator==(const HandlerCall&) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const HandlerCall& call) {
  constexpr const char* kNames[] = {"group ", "property ", "data ", "end"};
  out << kNames[static_cast<int>(call.kind)] << readable(call.text);
  for (const PropertyParameter& parameter : call.parameters) {
    out << ';' << readable(parameter.name);
    if (parameter.value) out << '=' << readable(*parameter.value);
  }
  return out;
}

}  // namespace test
