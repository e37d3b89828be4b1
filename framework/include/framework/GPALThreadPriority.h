#pragma once

/// A thread's priority in the framework's own scale, of which 1 is the one that services use.
class GPALThreadPriority {
 public:
  explicit constexpr GPALThreadPriority(int value) : m_value(value) {}
  [[nodiscard]] constexpr int value() const { return m_value; }

 private:
  int m_value;
};
