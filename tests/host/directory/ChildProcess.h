#pragma once

#include <sys/types.h>

#include <functional>
#include <string>

namespace test {

/// A child process that runs a function and can talk with its parent line by line. Killed and
/// waited for at the latest by the destructor. To be started before the parent has threads, and
/// before it opens a database: neither survives a fork.
class ChildProcess {
 public:
  /// The child's end of the talk.
  class Parent {
   public:
    Parent(int read, int write) : m_read(read), m_write(write) {}
    void Tell(const std::string& line) const;
    /// The next line the parent says, empty when it is gone.
    std::string Hear() const;

   private:
    int m_read;
    int m_write;
  };

  /// What the function returns is the exit code; it is 99 when an exception leaves it.
  explicit ChildProcess(const std::function<int(const Parent&)>& work);
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  void Say(const std::string& line) const;
  void Kill() const;
  /// The next line the child tells, empty when it has ended and all was read.
  std::string Hear();
  /// Waits for the end and returns the exit code, -1 when it was killed.
  int Join();

 private:
  pid_t m_process = -1;
  int m_read = -1;
  int m_write = -1;
};

/// Makes the calling process one of user "nobody", whom file modes bind. False when it can't.
bool BecomeOrdinaryUser();

}  // namespace test
