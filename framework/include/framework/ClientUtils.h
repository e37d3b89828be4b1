#pragma once

#include <string>

#include "framework/Export.h"

/// Helpers for clients of services that exchange XML. Any thread may call.
class FRAMEWORK_API ClientUtils {
 public:
  /// Stores the text between the first `<name>` and the next `</name>` in `value`, without
  /// unescaping or trimming it. Tags with attributes don't match. Returns 1, or 0 with `value`
  /// unchanged if there is no such pair of tags.
  static int extractValueFromXMLString(const std::string& xml, const std::string& name,
                                       std::string& value);
};
