#include "framework/LogOutput.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <regex>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "Waiting.h"

namespace {

using testing::HasSubstr;

std::string contentsOf(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

std::vector<std::string> linesOf(const std::string& path) {
  std::istringstream in(contentsOf(path));
  std::vector<std::string> lines;
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

// Redirects standard error to a file.
class StandardErrorInto {
 public:
  explicit StandardErrorInto(const std::string& path) : m_former(::dup(2)) {
    const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    ::dup2(file, 2);
    ::close(file);
  }
  ~StandardErrorInto() {
    ::dup2(m_former, 2);
    ::close(m_former);
  }
  StandardErrorInto(const StandardErrorInto&) = delete;
  StandardErrorInto& operator=(const StandardErrorInto&) = delete;

 private:
  const int m_former;
};

// Deleted with its contents at the end of the test.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string name = testing::TempDir() + "framework_test_XXXXXX";
    if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary folder");
    m_path = name;
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  [[nodiscard]] const std::string& path() const { return m_path; }
  [[nodiscard]] std::string file(const std::string& name) const { return m_path + "/" + name; }

 private:
  std::string m_path;
};

class LogOutputTest : public testing::Test {
 protected:
  LogOutputTest() { m_output = std::make_unique<LogOutput>(m_path); }

  void Write(const std::string& text, int level = kLogError, int line = 1) {
    m_output->write({"OBEX Service", "a.cpp", level, line, text});
  }
  void Close() { m_output.reset(); }
  std::vector<std::string> Lines() { return linesOf(m_path); }

  // Writes a line and returns its text as the file shows it.
  std::string Shown(const std::string& text) {
    Write(text, kLogError, m_line);
    const std::string place = " OBEX Service a.cpp:" + std::to_string(m_line++) + ": ";
    const std::string line = Lines().back();
    const std::size_t at = line.find(place);
    return at == std::string::npos ? "(no such line)" : line.substr(at + place.size());
  }

  // The number of lines in the file and those that its summaries count.
  std::size_t CountReported() {
    std::size_t reported = 0;
    const std::regex summary(": … ([0-9]+) more lines? like this in the last [0-9]+ s$");
    for (const std::string& line : Lines()) {
      std::smatch found;
      reported += std::regex_search(line, found, summary) ? std::stoul(found[1]) : 1;
    }
    return reported;
  }

  // Writes short lines, each of another place, to files of this size.
  void WriteBounded(std::size_t bytes, std::size_t files, int lines) {
    m_output = std::make_unique<LogOutput>(m_path, bytes, files);
    for (int line = 0; line < lines; ++line) Write("text", kLogError, line);
    Close();
  }
  static std::filesystem::perms ModeOf(const std::string& path) {
    return std::filesystem::status(path).permissions();
  }
  static constexpr std::filesystem::perms kOwnersOnly =
      std::filesystem::perms::owner_read | std::filesystem::perms::owner_write;

  TemporaryFolder m_folder;
  const std::string m_path = m_folder.file("log");
  std::unique_ptr<LogOutput> m_output;
  int m_line = 100;
};

TEST_F(LogOutputTest, WritesTimeLevelPlaceAndText) {
  Write("\ttext", kLogError, 42);
  ASSERT_EQ(Lines().size(), 1u);
  EXPECT_TRUE(std::regex_match(
      Lines()[0], std::regex("[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3} "
                             "error OBEX Service a\\.cpp:42: \\\\ttext")))
      << Lines()[0];
}

TEST_F(LogOutputTest, WritesTheNameOfTheLevel) {
  Write("one", kLogTrace);
  Write("two", kLogError + 1);
  Write("three", kLogTrace - 1);
  ASSERT_EQ(Lines().size(), 3u);
  EXPECT_THAT(Lines()[0], HasSubstr(" trace "));
  EXPECT_THAT(Lines()[1], HasSubstr(" warning "));
  EXPECT_THAT(Lines()[2], HasSubstr(" info "));
}

TEST_F(LogOutputTest, FlushesEveryLine) {
  Write("now", kLogTrace);
  EXPECT_THAT(contentsOf(m_path), HasSubstr("now\n"));
}

TEST_F(LogOutputTest, EscapesLineEndsInEveryPart) {
  m_output->write({"a\nb", "c\nd", kLogError, 1, "BEGIN\r\n2030-01-01 error forged"});
  ASSERT_EQ(Lines().size(), 1u);
  EXPECT_THAT(Lines()[0], HasSubstr(" a\\nb c\\nd:1: BEGIN\\r\\n2030-01-01 error forged"));
}

TEST_F(LogOutputTest, LeavesOrdinaryTextAsItIs) {
  EXPECT_EQ(Shown("Åsa Öberg, 5 € 😀 \"%s\" 'x'"), "Åsa Öberg, 5 € 😀 \"%s\" 'x'");
  EXPECT_EQ(Shown(""), "");
}

TEST_F(LogOutputTest, EscapesControlCharactersAsInC) {
  EXPECT_EQ(Shown("\a\b\t\n\v\f\r"), "\\a\\b\\t\\n\\v\\f\\r");
  EXPECT_EQ(Shown("\x1b[2J\x7f\x01"), "\\x1b[2J\\x7f\\x01");
  EXPECT_EQ(Shown(std::string("a\0b", 3)), "a\\x00b");
}

TEST_F(LogOutputTest, ShowsEveryByteDifferently) {
  std::set<std::string> shown;
  for (int byte = 0; byte < 256; ++byte)
    shown.insert(Shown(std::string(1, static_cast<char>(byte))));
  EXPECT_EQ(shown.size(), 256u);
  EXPECT_EQ(Shown("\\n"), "\\\\n");
}

TEST_F(LogOutputTest, EscapesBytesThatAreNotUtf8) {
  EXPECT_EQ(Shown("a\xff\xc3"), "a\\xff\\xc3");
  EXPECT_EQ(Shown("\xc3z"), "\\xc3z");
}

TEST_F(LogOutputTest, EscapesUnicodeControlsLineEndsAndDirectionMarks) {
  EXPECT_EQ(Shown("\u0085\u009b31m\u00a0"), "\\xc2\\x85\\xc2\\x9b31m\u00a0");
  EXPECT_EQ(Shown("\u2028\u2029"), "\\xe2\\x80\\xa8\\xe2\\x80\\xa9");
  EXPECT_EQ(Shown("\u202e\u2066\u200f"), "\\xe2\\x80\\xae\\xe2\\x81\\xa6\\xe2\\x80\\x8f");
}

TEST_F(LogOutputTest, CutsALongTextAtTheStartOfACharacter) {
  const std::string full(LogOutput::kMaxText - 2, 'x');
  EXPECT_EQ(Shown(full + "€y"), full + " … 4 more bytes");
  EXPECT_EQ(Shown(full + "y€y"), full + "y … 4 more bytes");
  EXPECT_EQ(Shown(full + "yyy"), full + "yy … 1 more byte");
  EXPECT_EQ(Shown(full + "\xff\xff\xff\xff"), full + "\\xff\\xff … 2 more bytes");
  EXPECT_EQ(Shown(full + "yy"), full + "yy");
}

TEST_F(LogOutputTest, DoesNotExpandPatternsInAText) {
  Write("%s %n {} {0} %v %Y");
  EXPECT_THAT(contentsOf(m_path), HasSubstr(": %s %n {} {0} %v %Y\n"));
}

TEST_F(LogOutputTest, NotesHowMuchOfALongTextIsMissing) {
  Write(std::string(LogOutput::kMaxText + 1000, 'x'));
  EXPECT_THAT(contentsOf(m_path), HasSubstr(std::string(LogOutput::kMaxText, 'x') + " … 1000"));
  EXPECT_LT(contentsOf(m_path).size(), LogOutput::kMaxText + 200);
}

TEST_F(LogOutputTest, BoundsALongTextOfControlCharacters) {
  Write(std::string(5u << 20, '\x01'));
  EXPECT_LT(contentsOf(m_path).size(), 4 * LogOutput::kMaxText + 200);
}

TEST_F(LogOutputTest, CountsFurtherLinesOfAPlaceThatLogsTooMuch) {
  for (int line = 0; line < 3000; ++line) Write("again " + std::to_string(line));
  Close();
  EXPECT_EQ(CountReported(), 3000u);
  EXPECT_LT(Lines().size(), 3000u);
  EXPECT_THAT(contentsOf(m_path), HasSubstr("error OBEX Service a.cpp:1: … "));
  for (int line = 0; line < LogOutput::kLinesPerSecond; ++line) {
    EXPECT_THAT(Lines()[static_cast<std::size_t>(line)], HasSubstr("again"));
  }
}

TEST_F(LogOutputTest, WritesASummaryWithoutWaitingForAnotherLine) {
  for (int line = 0; line < 1000; ++line) Write("again");
  EXPECT_TRUE(waiting::until([this] { return CountReported() == 1000; }));
}

TEST_F(LogOutputTest, CountsEachPlaceByItself) {
  for (int line = 0; line < 200; ++line) Write("each its own", kLogError, line);
  Close();
  EXPECT_EQ(Lines().size(), 200u);
}

TEST_F(LogOutputTest, AppendsToAnExistingFile) {
  Write("first");
  Close();
  m_output = std::make_unique<LogOutput>(m_path);
  Write("second");
  ASSERT_EQ(Lines().size(), 2u);
  EXPECT_THAT(Lines()[0], HasSubstr("first"));
  EXPECT_THAT(Lines()[1], HasSubstr("second"));
}

TEST_F(LogOutputTest, MakesTheFileReadableByItsOwnerOnly) {
  EXPECT_EQ(ModeOf(m_path), kOwnersOnly);
  Close();
  std::filesystem::permissions(m_path, std::filesystem::perms::all);
  m_output = std::make_unique<LogOutput>(m_path);
  EXPECT_EQ(ModeOf(m_path), kOwnersOnly);
}

TEST_F(LogOutputTest, RotatesTheFileBeforeItIsTooLarge) {
  WriteBounded(1000, 3, 60);
  EXPECT_LE(std::filesystem::file_size(m_path), 1000u);
  EXPECT_LE(std::filesystem::file_size(m_path + ".1"), 1000u);
  EXPECT_GT(std::filesystem::file_size(m_path + ".1"), 900u);
  EXPECT_TRUE(std::filesystem::exists(m_path + ".2"));
  EXPECT_FALSE(std::filesystem::exists(m_path + ".3"));
}

TEST_F(LogOutputTest, KeepsTheNewestLinesInOrder) {
  WriteBounded(1000, 3, 60);
  std::vector<std::string> kept = linesOf(m_path + ".2");
  for (const std::string& path : {m_path + ".1", m_path}) {
    for (const std::string& line : linesOf(path)) kept.push_back(line);
  }
  const std::size_t first = 60 - kept.size();
  for (std::size_t i = 0; i < kept.size(); ++i) {
    EXPECT_THAT(kept[i], HasSubstr("a.cpp:" + std::to_string(first + i) + ": text"));
  }
}

TEST_F(LogOutputTest, MakesRotatedFilesReadableByTheirOwnerOnly) {
  const mode_t former = ::umask(0);
  WriteBounded(1000, 3, 60);
  ::umask(former);
  for (const std::string& path : {m_path, m_path + ".1", m_path + ".2"}) {
    EXPECT_EQ(ModeOf(path), kOwnersOnly) << path;
  }
}

TEST_F(LogOutputTest, RotatesAnExistingFileThatIsTooLarge) {
  WriteBounded(1000000, 3, 30);
  WriteBounded(1000, 3, 1);
  EXPECT_EQ(Lines().size(), 1u);
  EXPECT_EQ(linesOf(m_path + ".1").size(), 30u);
}

TEST_F(LogOutputTest, WritesALineThatIsLargerThanTheFileSize) {
  Close();
  m_output = std::make_unique<LogOutput>(m_path, 1024, 2);
  Write(std::string(3000, 'x'));
  EXPECT_THAT(contentsOf(m_path), HasSubstr(std::string(3000, 'x') + "\n"));
}

TEST_F(LogOutputTest, StartsTheFileAnewWhenOnlyOneIsKept) {
  WriteBounded(1000, 1, 60);
  EXPECT_LE(std::filesystem::file_size(m_path), 1000u);
  EXPECT_FALSE(std::filesystem::exists(m_path + ".1"));
  EXPECT_THAT(Lines().back(), HasSubstr("a.cpp:59: text"));
}

TEST_F(LogOutputTest, KeepsTheExtensionOfRotatedFiles) {
  const std::string path = m_folder.file("phone.log");
  {
    LogOutput output(path, 1000, 2);
    for (int line = 0; line < 60; ++line) output.write({"c", "a.cpp", kLogError, line, "text"});
  }
  EXPECT_TRUE(std::filesystem::exists(m_folder.file("phone.1.log")));
}

void expectRefused(const std::string& path, const std::string& reason) {
  try {
    const LogOutput output(path);
    ADD_FAILURE() << path << " was opened";
  } catch (const std::runtime_error& error) {
    EXPECT_EQ(error.what(), "The log file \"" + path + "\" can't be opened: " + reason + ".");
  }
}

TEST_F(LogOutputTest, ThrowsASentenceWhenTheFileCanNotBeOpened) {
  expectRefused(m_folder.file("missing/log"), "No such file or directory");
  expectRefused(m_folder.path(), "Is a directory");
  expectRefused("", "No such file or directory");
}

TEST_F(LogOutputTest, ReportsAFullDiskOnceOnStandardError) {
  const StandardErrorInto file(m_folder.file("stderr"));
  LogOutput full("/dev/full");
  for (int line = 0; line < 20; ++line) full.write({"c", "a.cpp", kLogError, line, "text"});
  const std::vector<std::string> reported = linesOf(m_folder.file("stderr"));
  ASSERT_EQ(reported.size(), 1u);
  EXPECT_THAT(reported[0], HasSubstr("The log file \"/dev/full\" can't be written: "));
  EXPECT_THAT(reported[0], HasSubstr("No space left on device"));
}

TEST_F(LogOutputTest, DoesNotRotateDevices) {
  const LogOutput device("/dev/null", 1, 2);
  Close();
  EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
  EXPECT_FALSE(std::filesystem::exists("/dev/null.1"));
}

TEST_F(LogOutputTest, WritesToStandardErrorWithoutAPath) {
  const std::string path = m_folder.file("stderr");
  {
    const StandardErrorInto file(path);
    LogOutput output;
    output.write({"c", "a.cpp", kLogError, 7, "to people"});
  }
  EXPECT_THAT(contentsOf(path), HasSubstr(" error c a.cpp:7: to people\n"));
}

TEST_F(LogOutputTest, WritesWhatIsLogged) {
  addLogSink(m_output.get());
  logAppUni("OBEX Service", "a.cpp", kLogError, 3, "%s", "through the log");
  removeLogSink(m_output.get());
  EXPECT_THAT(contentsOf(m_path), HasSubstr(" a.cpp:3: through the log\n"));
}

std::set<std::string> threadsOfThisProcess() {
  std::set<std::string> paths;
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    paths.insert(task.path());
  }
  return paths;
}

// glibc blocks all signals while a thread starts: only the mask of a waiting thread counts.
bool isBlockedAtRest(const std::string& task, int signal) {
  std::string status;
  const auto atRest = [&] {
    status = contentsOf(task + "/status");
    return status.find("State:\tS") != std::string::npos;
  };
  std::smatch found;
  if (!waiting::until(atRest)) return false;
  if (!std::regex_search(status, found, std::regex("SigBlk:\\s*([0-9a-f]+)"))) return false;
  return (std::stoull(found[1], nullptr, 16) >> (signal - 1) & 1) != 0;
}

TEST_F(LogOutputTest, BlocksSignalsOnItsThread) {
  const auto before = threadsOfThisProcess();
  const LogOutput other(m_folder.file("other"));
  int added = 0;
  for (const std::string& task : threadsOfThisProcess()) {
    if (before.count(task) != 0) continue;
    ++added;
    EXPECT_TRUE(isBlockedAtRest(task, SIGTERM));
    EXPECT_TRUE(isBlockedAtRest(task, SIGINT));
  }
  EXPECT_GE(added, 1);  // a sanitizer may start one, too
}

TEST_F(LogOutputTest, LeavesTheCallersSignalMaskAlone) {
  sigset_t now;
  pthread_sigmask(SIG_BLOCK, nullptr, &now);
  EXPECT_EQ(sigismember(&now, SIGTERM), 0);
}

}  // namespace
