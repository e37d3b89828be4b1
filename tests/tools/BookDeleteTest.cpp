#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>

#include "tests/tools/PhoneFixture.h"
#include "tests/tools/Terminal.h"

namespace {

using test::Finished;
using testing::HasSubstr;
using testing::Not;

class BookDelete : public test::PhoneFixture {
 protected:
  void SetUp() override {
    PhoneFixture::SetUp();
    startPhone();
    for (const char* name : {"Berg", "Dahl", "Ek"}) phonectl({"book", "add", "--surname", name});
  }
  Finished remove(test::Program::Words options, const std::string& input = "") {
    options.insert(options.begin(), {"book", "delete"});
    return phonectl(options, input);
  }
  void expectLeft(const std::string& names) {
    std::string left;
    for (const char* name : {"Berg", "Dahl", "Ek"}) {
      if (phonectl({"book", "list"}).out.find(name) != std::string::npos) left += name[0];
    }
    EXPECT_EQ(left, names);
  }
  void expectRefused(const Finished& finished, int exitCode, const std::string& reason) {
    EXPECT_EQ(finished.exitCode, exitCode) << finished.out;
    EXPECT_THAT(finished.err, HasSubstr(reason));
    expectLeft("BDE");
  }
};

/// The same in a terminal.
class BookDeleteInATerminal : public BookDelete {
 protected:
  void start(test::Program::Words options) {
    options.insert(options.begin(), {"book", "delete"});
    m_delete = startPhonectl(options, {.terminal = m_terminal.name()});
  }
  void waitForScreen(const std::string& text) {
    ASSERT_TRUE(m_terminal.waitFor(text)) << m_terminal.screen();
  }

  test::Terminal m_terminal;
  std::unique_ptr<test::Program> m_delete;
};

}  // namespace

TEST_F(BookDelete, DeletesTheGivenEntries) {
  const Finished finished = remove({"--yes", "1", "3"});
  EXPECT_EQ(finished.exitCode, 0) << finished.err;
  EXPECT_EQ(finished.out, "Deleted 1: Berg\nDeleted 3: Ek\n");
  EXPECT_EQ(finished.err, "");
  expectLeft("D");
}

TEST_F(BookDelete, ReportsUnknownIdsAndDeletesTheOthers) {
  const Finished finished = remove({"7", "2", "-y"});
  EXPECT_EQ(finished.exitCode, 1);
  EXPECT_EQ(finished.out, "Deleted 2: Dahl\n");
  EXPECT_EQ(finished.err, "phonectl: the phonebook has no entry 7\n");
  expectLeft("BE");
}

TEST_F(BookDelete, PrintsTheResultAsJson) {
  const Finished finished = remove({"--json", "--yes", "1", "7"});
  EXPECT_EQ(finished.exitCode, 1);
  EXPECT_EQ(finished.out, "{\"deleted\":[\"1\"],\"left\":[\"7\"]}\n");
}

TEST_F(BookDelete, IgnoresDuplicateIds) {
  const Finished finished = remove({"--yes", "2", "002", "2"});
  EXPECT_EQ(finished.exitCode, 0) << finished.err;
  EXPECT_EQ(finished.out, "Deleted 2: Dahl\n");
}

TEST_F(BookDelete, RequiresYesWithoutATerminal) {
  expectRefused(remove({"1"}, "y\n"), 2, "Pass --yes");
}

TEST_F(BookDelete, RejectsInvalidIds) {
  for (const char* id : {"Berg", "-1", "1x", " 1", "", "9999999999999999999"}) {
    expectRefused(remove({"--yes", "1", id}), 2, "an id is a number");
  }
  expectRefused(remove({"--yes"}), 2, "required");
}

TEST_F(BookDelete, ReportsTheErrorOfThePhonebook) {
  breakPhonebook();
  const Finished finished = remove({"--yes", "1"});
  EXPECT_EQ(finished.exitCode, 1);
  EXPECT_THAT(finished.err, HasSubstr("the phonebook refused"));
}

TEST_F(BookDeleteInATerminal, ShowsTheEntriesAndDeletesThemAfterYes) {
  start({"1", "2"});
  waitForScreen("2   Dahl");
  waitForScreen("Delete these 2 entries? [y]es/[n]o ");
  m_terminal.type("y\n");
  waitForScreen("Deleted 2: Dahl");
  EXPECT_EQ(m_delete->wait(), 0);
  expectLeft("E");
}

TEST_F(BookDeleteInATerminal, DeletesNothingAfterAnyOtherAnswer) {
  for (const char* answer : {"n\n", "\n", "yesterday\n", "\x04"}) {
    test::Terminal terminal;
    auto program = startPhonectl({"book", "delete", "1"}, {.terminal = terminal.name()});
    ASSERT_TRUE(terminal.waitFor("Delete this entry?")) << terminal.screen();
    terminal.type(answer);
    EXPECT_EQ(program->wait(), 1);
    EXPECT_TRUE(terminal.waitFor("nothing was deleted")) << terminal.screen();
  }
  expectLeft("BDE");
}

TEST_F(BookDeleteInATerminal, DeletesNothingAfterCtrlC) {
  start({"1"});
  waitForScreen("Delete this entry?");
  m_terminal.type("\x03");
  EXPECT_EQ(m_delete->wait(), 1000 + SIGINT);
  expectLeft("BDE");
}

TEST_F(BookDeleteInATerminal, DoesNotAskWithYes) {
  start({"1", "--yes"});
  EXPECT_EQ(m_delete->wait(), 0);
  EXPECT_THAT(m_terminal.screen(), Not(HasSubstr("[y]es")));
  expectLeft("DE");
}
