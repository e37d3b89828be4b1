#pragma once

#include <string>

#include "framework/Export.h"

/// Helpers for clients of services that exchange XML texts. Stateless: any thread.
class FRAMEWORK_API ClientUtils {
 public:
  /// Puts the text between the first `<name>` and the next `</name>` behind it into `value`, as it
  /// stands: nothing is unescaped or trimmed, and elements with attributes are not looked for.
  /// Returns 1 when both tags were there; 0 otherwise, and `value` is left as it is.
  static int extractValueFromXMLString(const std::string& xml, const std::string& name,
                                       std::string& value);
};
