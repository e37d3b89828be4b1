#include "framework/Logging.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <cwchar>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

struct Line {
  std::string component;
  std::string source;
  int level;
  int line;
  std::string text;
};

class RecordingSink : public LogSink {
 public:
  void write(const LogLine& line) override {
    lines.push_back({std::string(line.component), std::string(line.source), line.level, line.line,
                     std::string(line.text)});
  }
  std::vector<Line> lines;
};

class LoggingTest : public testing::Test {
 protected:
  LoggingTest() { addLogSink(&m_sink); }
  ~LoggingTest() override {
    removeLogSink(&m_sink);
    setLogLevel(kLogError);
  }

  // Returns the text of the only line.
  std::string Text() {
    EXPECT_EQ(m_sink.lines.size(), 1u);
    return m_sink.lines.empty() ? "" : m_sink.lines.front().text;
  }

  RecordingSink m_sink;
};

TEST_F(LoggingTest, PassesEveryPartOfALineUnchanged) {
  logAppUni("OBEX Service", "./src/OBEXServer.cpp", kLogTrace, 12, "\t%s %d\n", "text", -3);
  ASSERT_EQ(m_sink.lines.size(), 1u);
  const Line& line = m_sink.lines.front();
  EXPECT_EQ(line.component, "OBEX Service");
  EXPECT_EQ(line.source, "./src/OBEXServer.cpp");
  EXPECT_EQ(line.level, kLogTrace);
  EXPECT_EQ(line.line, 12);
  EXPECT_EQ(line.text, "\ttext -3\n");
}

TEST_F(LoggingTest, PassesControlCharactersAndInvalidUtf8) {
  logAppUni("c", "s", 2, 1, "%s", "\x1b[31m\r\n\xff\xc3");
  EXPECT_EQ(Text(), "\x1b[31m\r\n\xff\xc3");
}

TEST_F(LoggingTest, PassesNulInTheText) {
  logAppUni("c", "s", 2, 1, "a%cb", '\0');
  EXPECT_EQ(Text(), std::string("a\0b", 3));
}

TEST_F(LoggingTest, PassesAnEmptyText) {
  logAppUni("c", "s", 2, 1, "%s", "");
  EXPECT_EQ(Text(), "");
}

TEST_F(LoggingTest, PassesTextsAroundTheSizeOfTheBuffer) {
  for (std::size_t length = 1000; length < 1050; ++length) {
    m_sink.lines.clear();
    const std::string text(length, 'x');
    logAppUni("c", "s", 2, 1, "%s", text.c_str());
    EXPECT_EQ(Text(), text);
  }
}

TEST_F(LoggingTest, PassesATextOfMegabytes) {
  std::string text(8u << 20, 'x');
  text.back() = 'y';
  logAppUni("c", "s", 2, 1, "%s%c%s", text.c_str(), '\0', "end");
  EXPECT_TRUE(Text() == text + std::string("\0end", 4));
}

TEST_F(LoggingTest, PassesTheFormatWhenFormattingFails) {
  const std::wstring none(1, static_cast<wchar_t>(0x7FFFFFFF));
  logAppUni("c", "s", 2, 1, "wide %ls", none.c_str());
  EXPECT_EQ(Text(), "wide %ls");
}

TEST_F(LoggingTest, ShowsNullPointers) {
  logAppUni(nullptr, nullptr, 2, 1, "%d", 1);
  ASSERT_EQ(m_sink.lines.size(), 1u);
  EXPECT_EQ(m_sink.lines[0].component, "(null)");
  EXPECT_EQ(m_sink.lines[0].source, "(null)");
}

class FailingSink : public LogSink {
 public:
  void write(const LogLine&) override { errno = ENOSPC; }
};

TEST_F(LoggingTest, KeepsErrno) {
  FailingSink failing;
  addLogSink(&failing);
  errno = EINTR;
  logAppUni("c", "s", 2, 1, "%s", "x");
  EXPECT_EQ(errno, EINTR);
  removeLogSink(&failing);
}

TEST_F(LoggingTest, WantsErrorsOnlyByDefault) {
  EXPECT_TRUE(loggingOnAppUni("c", kLogError));
  EXPECT_FALSE(loggingOnAppUni("c", kLogTrace));
}

TEST_F(LoggingTest, WantsLinesUpToTheLevel) {
  setLogLevel(kLogTrace);
  EXPECT_TRUE(loggingOnAppUni("c", kLogTrace));
  EXPECT_FALSE(loggingOnAppUni("c", kLogTrace + 1));
  setLogLevel(0);
  EXPECT_FALSE(loggingOnAppUni("c", kLogError));
}

TEST_F(LoggingTest, WritesLinesWhateverTheLevel) {
  setLogLevel(0);
  logAppUni("c", "s", kLogTrace, 1, "%s", "x");
  EXPECT_EQ(Text(), "x");
}

TEST_F(LoggingTest, WritesToEverySink) {
  RecordingSink other;
  addLogSink(&other);
  logAppUni("c", "s", 2, 1, "%s", "x");
  removeLogSink(&other);
  EXPECT_EQ(Text(), "x");
  EXPECT_EQ(other.lines.size(), 1u);
}

TEST_F(LoggingTest, WritesTwiceToASinkAddedTwice) {
  addLogSink(&m_sink);
  logAppUni("c", "s", 2, 1, "%s", "x");
  EXPECT_EQ(m_sink.lines.size(), 2u);
  removeLogSink(&m_sink);
  logAppUni("c", "s", 2, 1, "%s", "x");
  EXPECT_EQ(m_sink.lines.size(), 2u);
}

TEST_F(LoggingTest, DropsLinesWithoutASink) {
  removeLogSink(&m_sink);
  logAppUni("c", "s", 2, 1, "%s", "x");
  EXPECT_TRUE(m_sink.lines.empty());
}

TEST_F(LoggingTest, IgnoresRemovingAnUnknownSink) {
  RecordingSink other;
  removeLogSink(&other);
  removeLogSink(nullptr);
  addLogSink(nullptr);
  logAppUni("c", "s", 2, 1, "%s", "x");
  EXPECT_EQ(Text(), "x");
}

class ThrowingSink : public LogSink {
 public:
  void write(const LogLine&) override {
    ++calls;
    throw std::runtime_error("no");
  }
  int calls = 0;
};

TEST_F(LoggingTest, WritesToOtherSinksWhenOneThrows) {
  removeLogSink(&m_sink);
  ThrowingSink throwing;
  addLogSink(&throwing);
  addLogSink(&m_sink);
  logAppUni("c", "s", 2, 1, "%s", "x");
  removeLogSink(&throwing);
  EXPECT_EQ(throwing.calls, 1);
  EXPECT_EQ(Text(), "x");
}

TEST_F(LoggingTest, SerializesLinesOfSeveralThreads) {
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([thread] {
      for (int line = 0; line < 500; ++line) {
        logAppUni("c", "s", 2, thread, "%d %s", line, std::string(2000, 'x').c_str());
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  ASSERT_EQ(m_sink.lines.size(), 2000u);
  std::vector<int> next(4);
  for (const Line& line : m_sink.lines) {
    const int number = next[static_cast<std::size_t>(line.line)]++;
    EXPECT_EQ(line.text, std::to_string(number) + " " + std::string(2000, 'x'));
  }
}

TEST_F(LoggingTest, AllowsDeletingASinkOnceItIsRemoved) {
  std::atomic<bool> over = false;
  std::thread logger([&] {
    while (!over) logAppUni("c", "s", 2, 1, "%s", "x");
  });
  for (int round = 0; round < 200; ++round) {
    auto sink = std::make_unique<RecordingSink>();
    addLogSink(sink.get());
    removeLogSink(sink.get());
  }
  over = true;
  logger.join();
}

}  // namespace
