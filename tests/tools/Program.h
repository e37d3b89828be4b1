#pragma once

#include <sys/types.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace test {

/// A folder of the test's own, gone with it.
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

/// The bytes of a file, empty when there is none.
std::string contentsOf(const std::string& path);

/// A program that runs beside the test. What it writes is kept in files, so that it can be read
/// while it runs and a full pipe never stops it. It is killed when the object goes.
class Program {
 public:
  using Words = std::vector<std::string>;
  using Environment = std::map<std::string, std::string>;

  struct Options {
    Environment environment{};              ///< in addition to the test's own
    std::string input{};                    ///< on its standard input
    std::optional<std::string> outFile{};   ///< standard output goes there instead
    std::string folder{};                   ///< where it runs, when not where the test does
    std::optional<std::string> terminal{};  ///< a terminal for all three, which it controls
  };

  /// Starts it. Throws std::system_error when it can't be.
  Program(const TestFolder& folder, const std::string& name, const Words& words,
          const Options& options);
  ~Program();
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  [[nodiscard]] std::string out() const { return contentsOf(m_out); }
  [[nodiscard]] std::string err() const { return contentsOf(m_err); }
  [[nodiscard]] pid_t pid() const { return m_pid; }

  [[nodiscard]] bool running();
  /// Waits until this text was written that often; false when it ended or never wrote it.
  bool waitForOut(const std::string& text, int count = 1);
  bool waitForErr(const std::string& text, int count = 1);

  void signal(int number) const;
  /// Waits for its end: the exit code, or 1000 and the signal's number that killed it. -1 when it
  /// doesn't end.
  int wait();

 private:
  void spawn(const Words& words, const Options& options, const std::string& in);

  const std::string m_out;
  const std::string m_err;
  pid_t m_pid = -1;
  std::optional<int> m_status;
};

/// What a program left behind that ran to its end.
struct Finished {
  int exitCode;
  std::string out;
  std::string err;
};

Finished runProgram(const Program::Words& words, const Program::Options& options);

/// How often the text stands in another.
int occurrences(const std::string& text, const std::string& of);

}  // namespace test
