#pragma once

#include <string>

namespace test {

/// The other side of a terminal: what a user sees and types. Programs get its name.
class Terminal {
 public:
  /// Throws std::system_error when there is none to be had.
  Terminal();
  ~Terminal();
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  [[nodiscard]] const std::string& name() const { return m_name; }
  void type(const std::string& text) const;
  /// Everything that was shown so far.
  const std::string& screen();
  /// Waits until this text was shown that often.
  bool waitFor(const std::string& text, int count = 1);

 private:
  int m_master;
  std::string m_name;
  std::string m_screen;
};

}  // namespace test
