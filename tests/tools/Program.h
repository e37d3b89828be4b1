#pragma once

#include <sys/types.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace test {

/// A temporary folder, removed by the destructor.
class TestFolder {
 public:
  TestFolder();
  ~TestFolder();
  TestFolder(const TestFolder&) = delete;
  TestFolder& operator=(const TestFolder&) = delete;

  [[nodiscard]] const std::string& path() const { return m_path; }
  [[nodiscard]] std::string file(const std::string& name) const { return m_path + "/" + name; }
  /// Writes a file and returns its path.
  std::string write(const std::string& name, const std::string& contents) const;

 private:
  std::string m_path;
};

/// The contents of a file; empty if it does not exist.
std::string contentsOf(const std::string& path);

/// A program in the background. Its output goes to files, so that it can be read at any time and no
/// full pipe stops the program. The destructor kills it.
class Program {
 public:
  using Words = std::vector<std::string>;
  using Environment = std::map<std::string, std::string>;

  struct Options {
    Environment environment{};              ///< added to the test's own
    std::string input{};                    ///< standard input
    std::optional<std::string> outFile{};   ///< standard output instead of a file of the test
    std::string folder{};                   ///< working directory; empty: the test's
    std::optional<std::string> terminal{};  ///< controlling terminal, for all three streams
  };

  /// Starts it. Throws std::system_error.
  Program(const TestFolder& folder, const std::string& name, const Words& words,
          const Options& options);
  ~Program();
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  [[nodiscard]] std::string out() const { return contentsOf(m_out); }
  [[nodiscard]] std::string err() const { return contentsOf(m_err); }
  [[nodiscard]] pid_t pid() const { return m_pid; }

  [[nodiscard]] bool running();
  /// Waits until `text` was written `count` times; false if the program ends without, or times out.
  bool waitForOut(const std::string& text, int count = 1);
  bool waitForErr(const std::string& text, int count = 1);

  void signal(int number) const;
  /// Waits for its end. Returns the exit code, 1000 plus the signal that killed it, or -1 on
  /// timeout.
  int wait();

 private:
  void spawn(const Words& words, const Options& options, const std::string& in);

  const std::string m_out;
  const std::string m_err;
  pid_t m_pid = -1;
  std::optional<int> m_status;
};

/// The result of a finished program.
struct Finished {
  int exitCode;
  std::string out;
  std::string err;
};

Finished runProgram(const Program::Words& words, const Program::Options& options);

/// Counts `text` in `of`.
int occurrences(const std::string& text, const std::string& of);

}  // namespace test
