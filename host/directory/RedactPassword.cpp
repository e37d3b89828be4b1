#include "host/directory/RedactPassword.h"

#include <regex>

namespace host {

// Up to the last "@": a password that isn't escaped as it should be may hold one, or a slash.
std::string redactPassword(const std::string& connection) {
  static const std::regex option(
      R"(((?:password|passwd|pwd|pass)\s*=\s*)('[^']*'?|"[^"]*"?|[^ ;&]*))", std::regex::icase);
  static const std::regex authority(R"(^([^/@:\s]*:?/*[^/@:\s]*:)\S*@)");
  const std::string blotted = std::regex_replace(connection, option, "$1***");
  return std::regex_replace(blotted, authority, "$1***@");
}

}  // namespace host
