#pragma once

#include <string>

namespace dbus {

/// Which message bus to use: "session", "system" or a D-Bus address. A plain value.
class BusAddress {
 public:
  /// Whether `text` is one of the three, without control characters.
  static bool valid(const std::string& text);

  explicit BusAddress(std::string text) : m_text(std::move(text)) {}

  /// The D-Bus address to connect to. Throws Glib::Error if this machine has no such bus.
  [[nodiscard]] std::string resolve() const;
  /// For messages: "the session bus", "the bus at unix:path=...".
  [[nodiscard]] std::string describe() const;
  /// The option that makes another of our programs use the same bus: "" or " --bus ...".
  [[nodiscard]] std::string option() const;

  [[nodiscard]] bool isSession() const { return m_text == "session"; }

 private:
  [[nodiscard]] bool isWellKnown() const { return isSession() || m_text == "system"; }

  std::string m_text;
};

}  // namespace dbus
