#pragma once

/// A thread priority on the framework's scale; services use 1.
class GPALThreadPriority {
 public:
  explicit constexpr GPALThreadPriority(int value) : m_value(value) {}
  [[nodiscard]] constexpr int value() const { return m_value; }

 private:
  int m_value;
};
