#pragma once

#include <string>

namespace test {

/// A pseudo-terminal: what a user sees and types. Programs open it by its name.
class Terminal {
 public:
  /// Throws std::system_error.
  Terminal();
  ~Terminal();
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  [[nodiscard]] const std::string& name() const { return m_name; }
  void type(const std::string& text) const;
  /// Everything shown so far.
  const std::string& screen();
  /// Waits until `text` has been shown `count` times.
  bool waitFor(const std::string& text, int count = 1);

 private:
  int m_master;
  std::string m_name;
  std::string m_screen;
};

}  // namespace test
