#pragma once

#include <string>

namespace phonectl {

/// Which bus the phone is on: "session", "system", or a D-Bus address. A plain value.
class BusPlace {
 public:
  /// Whether `text` is one of the three.
  static bool valid(const std::string& text);

  explicit BusPlace(std::string text) : m_text(std::move(text)) {}

  /// The D-Bus address. Throws Failure when the session or system bus has none.
  [[nodiscard]] std::string address() const;
  /// For sentences: "the session bus", "the bus at unix:path=...". Safe to show.
  [[nodiscard]] std::string shown() const;
  /// What makes another program of the telephone use the same bus: "" or " --bus ...".
  [[nodiscard]] std::string option() const;

 private:
  std::string m_text;
};

}  // namespace phonectl
