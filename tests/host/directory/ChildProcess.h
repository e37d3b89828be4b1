#pragma once

#include <sys/types.h>

#include <functional>
#include <string>

namespace test {

/// A child process that runs a function and exchanges lines with its parent. The destructor kills
/// and reaps it. Start it before the parent has threads or opens a database: neither survives a
/// fork.
class ChildProcess {
 public:
  /// The child's view of its parent.
  class Parent {
   public:
    Parent(int read, int write) : m_read(read), m_write(write) {}
    void Tell(const std::string& line) const;
    /// The next line from the parent; empty when the parent is gone.
    std::string Hear() const;

   private:
    int m_read;
    int m_write;
  };

  /// The exit code is what `work` returns, or 99 if it throws.
  explicit ChildProcess(const std::function<int(const Parent&)>& work);
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  void Say(const std::string& line) const;
  void Kill() const;
  /// The next line from the child; empty when it has ended and all lines were read.
  std::string Hear();
  /// Waits for the end and returns the exit code, -1 when it was killed.
  int Join();

 private:
  pid_t m_process = -1;
  int m_read = -1;
  int m_write = -1;
};

/// Turns the calling process into one of the user "nobody", since file modes don't restrict root.
/// Returns false on failure.
bool BecomeOrdinaryUser();

}  // namespace test
